#!/usr/bin/env python3
"""conversion_faults.py [--sanitized] TOOL MEMORY SOURCE_DIR CLASS: the conversion tool while system
calls fail, while it is killed, and without memory. Whatever happens, the database is the old one or
the whole new one, and the status and the message tell which."""
import errno
import os
import re
import shutil

import kit as ns
from kit import DATABASE, SCRATCH, convert, read, write

FOLDER = ns.WORK + "/folder"
OLD = FOLDER + "/database"
TRACED = ns.WORK + "/calls"
MEMORY = ns.WORK + "/memory.so"
ERRORS = {"openat": ("EIO", "EMFILE", "EACCES", "ENOMEM", "ENOSPC", "EINTR"),
          "pwrite64": ("EIO", "ENOSPC", "EINTR"), "fallocate": ("EIO", "ENOSPC", "EOPNOTSUPP"),
          "socket": ("EMFILE",)}
OTHERS = ("brk", "mmap", "munmap", "mprotect", "exit_group", "rt_sigaction", "geteuid", "futex")


class Case(ns.Case):
    def setUp(self):
        super().setUp()
        self.old = b"".join(read(f"{ns.WORK}/tests/data/{name}.in") for name in self.databases)
        self.is_mounted = False
        shutil.rmtree(FOLDER, ignore_errors=True)
        os.mkdir(FOLDER)
        write(OLD, self.old)
        self.assertEqual(convert(OLD).returncode, 0)
        self.new = read(OLD)
        write(OLD, self.old)

    def judge(self, run, label, words):
        """Checks what a run left, and puts the old database back."""
        content, scratch = read(OLD), read(SCRATCH) if os.path.exists(SCRATCH) else b""
        with self.subTest(label):
            said = re.search(rb"was replaced|was written in part|\Z", run.stderr)[0]
            if content == self.old:
                self.assertNotEqual((run.returncode, said), (0, b""), run.stderr)
            elif content != self.new:
                self.assertTrue(self.is_mounted, content[:200])
                self.assertTrue(scratch.endswith(self.new))
                self.assertIn((run.returncode, said), ((1, b"was written in part"), (-9, b"")))
            elif run.returncode == 1:
                self.assertEqual(said, b"was replaced")
            if run.returncode == 0:
                self.assertEqual(content, self.new)
                self.assertTrue(scratch.endswith(self.new))
            else:
                self.assertIn(run.returncode, (1, -9), run.stderr)
            if run.returncode == 1:
                self.assertRegex(run.stderr, b"(?m)^(flatlink: .*)?(" + OLD.encode() + b"|" +
                                 SCRATCH.encode() + b"|profile.vars).*" + words)
            if run.returncode >= 0 and "unlinkat" not in label:
                self.assertEqual(os.listdir(FOLDER), ["database"], "left behind")
        with open(OLD, "r+b") as file:
            file.write(self.old)
            file.truncate()


class Calls(Case):
    """Each system call of a run fails in turn, by each error, and the run is killed at each."""

    databases = ("small_database",)

    def run_traced(self, *inject):
        return convert(OLD, runner=("strace", "-qq", "-o", TRACED, *inject),
                       ASAN_OPTIONS="detect_leaks=0")

    def calls(self, first):
        """Names and numbers of the calls from the first of that name on."""
        self.judge(self.run_traced(), "none fails", b"")
        names = re.findall(r"(?m)^(\w+)\(", read(TRACED).decode())
        for at in range(names.index(first), len(names)):
            if names[at] not in OTHERS:
                yield names[at], names[:at + 1].count(names[at])

    def fail_each_from(self, first):
        for name, number in list(self.calls(first)):
            for error in ERRORS.get(name, ("EIO", "EINTR"))[:1 if ns.is_sanitized else None]:
                run = self.run_traced("-e", f"inject={name}:error={error}:when={number}")
                words = os.strerror(getattr(errno, error)).encode()
                self.judge(run, f"{error} in {name} {number}", b".*(" + words + b"|was |it )")
            if not ns.is_sanitized:
                run = self.run_traced("-e", f"inject={name}:signal=KILL:when={number}")
                self.judge(run, f"killed in {name} {number}", b"")

    def test_renamed(self):
        self.fail_each_from("fcntl")  # the first call of the tool's own
        self.run_traced("-e", "trace=fsync,renameat")
        self.assertRegex(read(TRACED), rb"\Afsync.*\nrenameat.*\nfsync")

    def test_trace_outlives_a_signal(self):
        trace = read(SCRATCH)[:-len(self.new)]
        for signal, rest in (("KILL", b"\0"), ("TERM", b"")):
            self.run_traced("-e", f"inject=socket:signal={signal}:when=1")
            self.assertEqual(read(SCRATCH).rstrip(rest), trace)

    def test_written_in_place(self):
        ns.call("mount", "--bind", OLD, OLD)
        self.addCleanup(ns.call, "umount", OLD)
        self.is_mounted = True
        self.fail_each_from("renameat")


class Memory(Case):
    databases = ("pools_policies_and_interfaces", "small_database")

    def test_each_allocation(self):
        count = ns.WORK + "/count"
        self.judge(convert(OLD, LD_PRELOAD=MEMORY, COUNT_TO=count), "none fails", b"")
        for at in range(1, int(read(count)) + 1):
            for kind in ("", "+") if at % 4 == 0 else ("",):
                run = convert(OLD, LD_PRELOAD=MEMORY, FAIL_AT=f"{at}{kind}")
                self.judge(run, f"allocation {at}{kind}", b"")


if __name__ == "__main__":
    ns.main("memory.so")
