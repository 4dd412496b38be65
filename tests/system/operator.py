#!/usr/bin/env python3
"""operator.py FLATLINK FLATCTL SOURCE_DIR: whole runs of the operator's command."""
import glob
import os
import subprocess
import sys
import unittest

import namespace as ns
from namespace import DATABASE, read, write

FLATCTL = ns.WORK + "/flatctl"


def flatctl(*args, **options):
    return subprocess.run([FLATCTL, *args], capture_output=True, check=False,
                          timeout=ns.time_limit_s(), **options)


def databases():
    return sorted(glob.glob(ns.WORK + "/samples/*.conf") +
                  glob.glob(ns.WORK + "/tests/data/**/*.in", recursive=True))


class Case(unittest.TestCase):
    def setUp(self):
        ns.fresh_tmp()


class Preview(Case):
    def test_is_what_flatlink_leaves(self):
        for path in databases():
            with self.subTest(path=path):
                ns.fresh_tmp()
                before = read(path)
                preview = flatctl("preview", "--resolve", path)
                self.assertEqual(0, preview.returncode, preview.stderr)
                self.assertEqual((before, []), (read(path), os.listdir("/tmp")))
                write(DATABASE, before)
                self.assertEqual(0, ns.convert(DATABASE).returncode)
                self.assertEqual(read(DATABASE), preview.stdout)
                against = flatctl("preview", "--resolve", "--against", DATABASE, path)
                self.assertEqual((0, b""), (against.returncode, against.stdout))

    def test_status_tells_why(self):
        write(DATABASE, b"ip_hostname=gate\n")
        for status, args in ((2, []), (2, ["preview"]), (3, ["preview", "/nowhere"]),
                             (3, ["preview", "/tmp"]), (0, ["--version"]),
                             (1, ["preview", "--memory", "1", DATABASE]),
                             (1, ["preview", "--against", "/dev/null", DATABASE])):
            with self.subTest(args=args):
                if ns.is_sanitized and "--memory" in args:
                    continue
                run = flatctl(*args)
                self.assertEqual(status, run.returncode, run.stderr)
        with open("/dev/full", "wb") as full:
            run = subprocess.run([FLATCTL, "preview", DATABASE], stdout=full, check=False,
                                 stderr=subprocess.PIPE)
        self.assertEqual(3, run.returncode, run.stderr)


if __name__ == "__main__":
    ns.is_sanitized = "--sanitized" in sys.argv
    flatlink_path, flatctl_path, source_dir = sys.argv[-3:]
    ns.enter("-n")
    flatctl_bytes = read(flatctl_path)
    ns.furnish(flatlink_path, source_dir)
    write(FLATCTL, flatctl_bytes)
    os.chmod(FLATCTL, 0o755)
    unittest.main(argv=sys.argv[:1])
