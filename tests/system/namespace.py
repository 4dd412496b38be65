"""Namespaces of their own for whole-process tests, and a machine for the conversion tool: no network
at all, an empty /tmp, and what the tests need in WORK. All is gone when the runner ends."""
import os
import resource
import shutil
import subprocess
import sys

SCRATCH = "/tmp/vpndata.txt"
WORK = "/mnt"
TOOL = WORK + "/flatlink"
DATABASE = WORK + "/database"
NOBODY = 65534
SKIPPED = 77  # told to ctest as "skipped"
INSIDE = "TEST_NAMESPACE"

is_sanitized = False


def call(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def enter(*options):
    """Runs the program again inside of a mount namespace, and what else the options of unshare
    name; returns there. Without the right to do so the test is skipped."""
    if INSIDE in os.environ:
        return
    os.environ[INSIDE] = "1"
    unshare = ["unshare", "-m", "--propagation", "private", *options]
    if os.geteuid() != 0 or subprocess.run(unshare + ["true"], check=False).returncode != 0:
        print("skipped: namespaces of its own need root")
        sys.exit(SKIPPED)
    os.execvp("unshare", unshare + [sys.executable, *sys.argv])


def furnish(tool, source_dir):
    """Puts the tool, samples and test data into WORK, and files in place of a name service."""
    tool_bytes = open(tool, "rb").read()
    folders = {name: read_folder(os.path.join(source_dir, name))
               for name in ("samples", "tests/data", "tests/data/layouts")}
    call("mount", "-t", "tmpfs", "-o", "mode=0755", "none", WORK)
    write(TOOL, tool_bytes)
    os.chmod(TOOL, 0o755)
    for name, files in folders.items():
        os.makedirs(f"{WORK}/{name}")
        for file, content in files.items():
            write(f"{WORK}/{name}/{file}", content)
    for path, content in (("/etc/nsswitch.conf", b"hosts: files\n"),
                          ("/etc/hosts", b"192.0.2.77 peer.invalid\n"), ("/etc/resolv.conf", b"")):
        if os.path.exists(path):
            replacement = WORK + "/" + os.path.basename(path)
            write(replacement, content)
            call("mount", "--bind", replacement, path)
    os.environ.pop("KORVWSS", None)
    os.chdir(WORK)
    call("mount", "-t", "tmpfs", "none", "/tmp")


def fresh_tmp(options="mode=1777"):
    """Empties /tmp, by a new file system with these mount options."""
    call("umount", "/tmp")
    call("mount", "-t", "tmpfs", "-o", options, "none", "/tmp")
    if os.path.exists(DATABASE):
        shutil.rmtree(DATABASE) if os.path.isdir(DATABASE) else os.remove(DATABASE)


def read_folder(folder):
    return {entry.name: read(entry.path) for entry in os.scandir(folder) if entry.is_file()}


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def time_limit_s():
    return 900 if is_sanitized else 120


def bound_memory():
    # Address space of a sanitized program is vast, and its own to bound.
    if not is_sanitized:
        resource.setrlimit(resource.RLIMIT_AS, (2 << 30, 2 << 30))


def convert(*args, uid=0, stdin=subprocess.DEVNULL, runner=(), **environment):
    """Runs the tool as that user, by `runner` if given, with these variables set. Gives status and
    messages; raises when it takes too long."""
    return subprocess.run([*runner, TOOL, *args], stdin=stdin, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=time_limit_s(), preexec_fn=bound_memory,
                          user=uid, group=uid, extra_groups=[], umask=0, check=False,
                          env={**os.environ, **environment})
