"""What whole-process tests share: namespaces of their own, waiting, the blocks of a README, and a
machine for the conversion tool: no network at all, an empty /tmp, and what the tests need in WORK.
All is gone when the runner ends."""
import glob
import os
import re
import resource
import shutil
import subprocess
import sys
import time
import unittest

SCRATCH = "/tmp/vpndata.txt"
WORK = "/mnt"
TOOL = WORK + "/flatlink"
DATABASE = WORK + "/database"
NOBODY = 65534
SKIPPED = 77  # told to ctest as "skipped"
INSIDE = "TEST_NAMESPACE"
PATIENCE_S = 30

is_sanitized = "--sanitized" in sys.argv


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


def wait_until(condition, patience_s=PATIENCE_S):
    """The first true value of `condition`, or its last one when the time is over."""
    end = time.monotonic() + patience_s
    while not (value := condition()) and time.monotonic() < end:
        time.sleep(0.01)
    return value


def readme_blocks(path):
    """(language, text) of each block of code."""
    return re.findall(r"^```(\w+)\n(.*?)^```", read(path).decode("ascii"), re.M | re.S)


class Case(unittest.TestCase):
    def setUp(self):
        fresh_tmp()


def main(*names, folders=()):
    """Runs the tests of the calling script on a furnished machine. The script's arguments:
    --sanitized if it is so, the tool, the programs that get `names` in WORK, the source folder, and
    the class of tests to run, without one all."""
    words = [word for word in sys.argv[1:] if word != "--sanitized"]
    places = (TOOL, *(f"{WORK}/{name}" for name in names))
    enter("-n")
    furnish(dict(zip(places, words)), words[len(places)], folders)
    unittest.main(argv=[sys.argv[0], "-v", *words[len(places) + 1:]])


def furnish(programs, source_dir, folders=()):
    """Puts programs, samples, test data and more folders of the sources into WORK, and files in
    place of a name service."""
    programs = {place: read(path) for place, path in programs.items()}
    files = {name: read_folder(os.path.join(source_dir, name))
             for pattern in ("samples", "tests/data", "tests/data/layouts", *folders)
             for name in glob.glob(pattern, root_dir=source_dir)}
    call("mount", "-t", "tmpfs", "-o", "mode=0755", "none", WORK)
    for place, content in programs.items():
        write(place, content)
        os.chmod(place, 0o755)
    for name, contents in files.items():
        os.makedirs(f"{WORK}/{name}")
        for file, content in contents.items():
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
