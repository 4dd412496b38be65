"""One firewall's database in three layouts becomes the same VPN data.  layouts.py TOOL DATA_DIR

The tool runs in a mount and a network namespace of its own, with an empty /tmp and no network,
so that no name is resolved and no route known. Needs root; without it, status 77 says skipped."""

import difflib
import os
import subprocess
import sys

SKIPPED = 77
INSIDE = "LAYOUTS_INSIDE"
DATABASE = "/tmp/database"
LAYOUTS = ("current", "41", "numbered")


def enter():
    """Starts the script again inside the namespaces, once."""
    if INSIDE in os.environ:
        return
    os.environ[INSIDE] = "1"
    os.environ.pop("KORVWSS", None)  # would lead to another database
    unshare = ["unshare", "-m", "-n", "--propagation", "private"]
    if os.geteuid() != 0 or subprocess.run(unshare + ["true"], check=False).returncode != 0:
        sys.exit(SKIPPED)
    os.execvp("unshare", unshare + [sys.executable] + sys.argv)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def convert(tool, content):
    """What becomes of a database. The tool says nothing and succeeds."""
    write(DATABASE, content)
    done = subprocess.run([tool, DATABASE], capture_output=True, check=False, timeout=60)
    said = (done.returncode, done.stdout, done.stderr)
    if said != (0, b"", b""):
        print("status, output and errors", said)
        return b""
    return read(DATABASE)


def differences(label, got, want):
    """Prints where two texts differ; 1 if they do, else 0."""
    if got == want:
        return 0
    lines = [text.decode("latin-1").splitlines() for text in (want, got)]
    print("\n".join(difflib.unified_diff(*lines, "wanted", label, lineterm="")) or "line ends")
    return 1


def main():
    enter()
    # The build may lie below the /tmp that is about to be covered.
    program = read(sys.argv[1])
    databases = {name: read(f"{sys.argv[2]}/{name}.in") for name in LAYOUTS}
    want = read(f"{sys.argv[2]}/layout.want")
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "tmpfs", "/tmp"], check=True)
    tool = "/tmp/tool"
    write(tool, program)
    os.chmod(tool, 0o755)

    failures = len(set(databases.values())) != len(LAYOUTS)
    for name, content in databases.items():
        failures += differences(name, convert(tool, content), want)
    print(f"{failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
