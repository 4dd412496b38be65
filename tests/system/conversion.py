#!/usr/bin/env python3
"""conversion.py [--sanitized] TOOL SOURCE_DIR CLASS: whole runs of the conversion tool."""
import fcntl
import os
import socket
import stat
import subprocess
import unittest

import hostile
import kit as ns
from kit import DATABASE, NOBODY, SCRATCH, convert, read, write

DEFAULT_LINES = b"""vpn_anonsecret=
vpn_clientIKEpolicy=
vpn_kernelacceleration=On
vpn_useracceleration=On
vpn_aggressivemode=Off
ip_myhostname=
ip_hostname=
ip_domainname=
"""
SAMPLE = ns.WORK + "/samples/branch-office.conf"


class Case(ns.Case):
    def check(self, run, status, messages):
        """A run has this status and error stream, and an empty standard output."""
        self.assertEqual((run.returncode, run.stderr, run.stdout), (status, messages, b""))


class Arguments(Case):
    def test_wrong_count_ends_in_silence(self):
        write(DATABASE, b"ip_hostname=gate\n")
        for args in ((), (DATABASE, DATABASE), (DATABASE, "", "")):
            with self.subTest(args=args):
                self.check(convert(*args), 1, b"")
                self.assertEqual(read(DATABASE), b"ip_hostname=gate\n")
                self.assertEqual(os.listdir("/tmp"), [])


class Databases(Case):
    def test_missing_one_is_made(self):
        self.check(convert(DATABASE), 0, b"")
        self.assertEqual(read(DATABASE), DEFAULT_LINES)
        self.assertEqual(read(SCRATCH), DEFAULT_LINES)

    def test_empty_one_gets_the_default_lines(self):
        for content in (b"", b"\n \r\n\t", b"no equals sign at all"):
            with self.subTest(content=content):
                write(DATABASE, content)
                self.check(convert(DATABASE), 0, b"")
                self.assertEqual(read(DATABASE), DEFAULT_LINES)

    def test_relative_path(self):
        write(DATABASE, b"ip_hostname=gate\n")
        self.check(convert(os.path.basename(DATABASE)), 0, b"")
        self.assertIn(b"\nip_myhostname=gate\n", read(DATABASE))

    def test_missing_folder(self):
        path = ns.WORK + "/lost/database"
        self.check(convert(path), 1, path.encode() + b": No such file or directory\n")

    def check_refused(self, reason, uid=0):
        run = convert(DATABASE, uid=uid)
        self.assertEqual((run.returncode, run.stdout), (1, b""))
        self.assertEqual(run.stderr.count(b"\n"), 1, run.stderr)
        self.assertIn(DATABASE.encode(), run.stderr)
        self.assertIn(reason, run.stderr)

    def test_folder_is_refused(self):
        os.mkdir(DATABASE)
        self.check_refused(b"Is a directory")
        self.assertEqual(os.listdir(DATABASE), [])

    def test_unreadable_one_is_refused(self):
        write(DATABASE, b"ip_hostname=gate\n")
        os.chown(DATABASE, NOBODY, NOBODY)
        os.chmod(DATABASE, 0o200)  # the run could write it
        self.check_refused(b"Permission denied", uid=NOBODY)
        self.assertEqual(read(DATABASE), b"ip_hostname=gate\n")

    def test_read_only_one_stays(self):
        content = read(SAMPLE)
        write(DATABASE, content)
        os.chmod(DATABASE, 0o444)
        self.check(convert(DATABASE, uid=NOBODY), 1, DATABASE.encode() + b": Permission denied\n")
        self.assertEqual(read(DATABASE), content)
        self.assertTrue(read(SCRATCH).endswith(read(ns.WORK + "/tests/data/branch-office.want")))

    def test_full_file_system_is_told(self):
        folder = ns.WORK + "/small"
        os.makedirs(folder, exist_ok=True)
        ns.call("mount", "-t", "tmpfs", "-o", "size=12k", "none", folder)
        self.addCleanup(ns.call, "umount", folder)
        path = folder + "/database"
        write(path, read(SAMPLE))
        self.check(convert(path), 1, path.encode() + b": No space left on device\n")

    def test_install_location_counts_for_reading(self):
        os.makedirs(ns.WORK + "/root/opt/KORVwss", exist_ok=True)
        os.makedirs(ns.WORK + "/root" + ns.WORK, exist_ok=True)
        write(ns.WORK + "/root/opt/KORVwss/.profile.vars",
              b"install_location=" + ns.WORK.encode() + b"/root\n")
        write(ns.WORK + "/root" + DATABASE, b"ip_hostname=inside\n")
        os.environ["KORVWSS"] = ns.WORK + "/root"
        self.addCleanup(os.environ.pop, "KORVWSS")
        self.check(convert(DATABASE), 0, b"")
        self.assertIn(b"\nip_hostname=inside\n", read(DATABASE))


class Replacement(Case):
    """What takes the place of the database, and what never may."""

    content = b"ip_hostname=gate\n"

    def setUp(self):
        super().setUp()
        write(DATABASE, self.content)

    def check_refused(self, path, reason, **options):
        run = convert(path, **options)
        self.assertEqual((run.returncode, run.stderr.count(b"\n")), (1, 1), run.stderr)
        self.assertIn(path.encode() + b": ", run.stderr)
        self.assertIn(reason, run.stderr)
        self.assertEqual(read(DATABASE), self.content)

    def link(self, target, path=ns.WORK + "/link"):
        os.symlink(target, path)
        self.addCleanup(os.remove, path)
        return path

    def test_no_plain_file_is_refused(self):
        os.mkfifo("/tmp/pipe")
        socket.socket(socket.AF_UNIX).bind("/tmp/socket")
        guises = [("/tmp/pipe", b"not a plain file"), ("/tmp/socket", b"not a plain file"),
                  (DATABASE + "/", b"Not a directory"), (self.link("link"), b"Too many levels")]
        guises += [(path, b"over /dev or /proc") for path in (
            "/dev/stdin", "/dev/null", "/dev/fd/0", "/proc/self/cwd/database", "/dev/not-there",
            self.link("../dev/stdin", ns.WORK + "/link2"), self.link("/proc", "/tmp/p") + "/0/x")]
        for path, reason in guises:
            with self.subTest(path=path), open(DATABASE, "r+b") as database:
                self.check_refused(path, reason, stdin=database)

    def test_scratch_file_is_refused(self):
        for path in (SCRATCH, "/tmp/../tmp/vpndata.txt", self.link(SCRATCH)):
            for before in (None, b"ip_hostname=inside\n"):
                with self.subTest(path=path, before=before):
                    ns.fresh_tmp()
                    write(DATABASE, self.content)
                    if before:
                        write(SCRATCH, before)
                    self.check_refused(path, b"the scratch file")
                    self.assertEqual(read(SCRATCH) if os.path.exists(SCRATCH) else None, before)

    def test_one_run_at_a_time(self):
        for path, name in ((DATABASE, DATABASE), (SCRATCH, SCRATCH)):
            with self.subTest(path), open(path, "ab") as other:
                fcntl.flock(other, fcntl.LOCK_EX)
                run = convert(DATABASE)
                self.assertEqual(run.returncode, 1)
                self.assertRegex(run.stderr, name.encode() + b": another run [^\n]*\n\\Z")
                self.assertEqual(read(DATABASE), self.content)

    def test_owner_mode_attributes_and_links_stay(self):
        os.chown(DATABASE, NOBODY, NOBODY)
        os.chmod(DATABASE, 0o4640)
        os.setxattr(DATABASE, "trusted.label", b"x")
        before = os.stat(DATABASE)
        for path in (self.link("link2"), self.link(DATABASE, ns.WORK + "/link2"), DATABASE):
            self.check(convert(path), 0, b"")
            after = os.stat(DATABASE)
            self.assertEqual((after.st_mode, after.st_uid, after.st_gid),
                             (before.st_mode, before.st_uid, before.st_gid))
            self.assertEqual(os.listxattr(DATABASE), ["trusted.label"])
            self.assertNotEqual(after.st_ino, before.st_ino)
        os.remove(DATABASE)
        self.check(convert(ns.WORK + "/link"), 0, b"")
        self.assertEqual(read(DATABASE), DEFAULT_LINES)

    def test_closed_streams(self):
        name = ns.WORK + "/tests/data/bad_values"
        write(DATABASE, read(name + ".in"))
        closed = subprocess.run(["sh", "-c", f"{ns.TOOL} {DATABASE} <&- >&- 2>&-"], check=False)
        self.assertEqual(closed.returncode, 0)
        self.assertEqual(read(DATABASE), read(name + ".want"))
        self.assertTrue(read(SCRATCH).endswith(read(name + ".want")))


def what_stands_in(folder):
    """Names, modes, owners, and bytes of plain files."""
    return {entry.name: (entry.stat(follow_symlinks=False)[:5],
                         read(entry) if entry.is_file() else b"") for entry in os.scandir(folder)}


class Scratch(Case):
    """The scratch file lies where any user may create files, and holds secrets."""

    content = b"ip_hostname=gate\nvpn_settings_anonsecret=s3cret\n"

    def setUp(self):
        super().setUp()
        write(DATABASE, self.content)

    def check_untouched(self, reason):
        run = convert(DATABASE)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, rb"\A" + SCRATCH.encode() + b": [^\n]*" + reason + b"[^\n]*\n\Z")
        self.assertEqual(read(DATABASE), self.content)

    def test_is_for_its_owner_alone(self):
        for before in (None, 0o600, 0o666):
            with self.subTest(before=before):
                if before is not None:
                    write(SCRATCH, b"old " * 4096)
                    os.chmod(SCRATCH, before)
                self.check(convert(DATABASE), 0, b"")
                status = os.stat(SCRATCH)
                self.assertEqual(stat.S_IMODE(status.st_mode), 0o600)
                self.assertEqual(status.st_uid, 0)
                self.assertNotIn(b"old ", read(SCRATCH))
                write(DATABASE, self.content)

    def test_holds_trace_and_final_lines(self):
        write(DATABASE, read(SAMPLE))
        self.check(convert(DATABASE), 0, b"")
        scratch, lines = read(SCRATCH), read(DATABASE)
        self.assertTrue(scratch.endswith(lines))
        trace = scratch[:-len(lines)].decode().splitlines()
        self.assertEqual(trace[0], "Dst vpnnetwork check")
        for line in trace:
            self.assertRegex(line, "^(<<|TRACE |Src |Dst )")

    def test_unwritable_place(self):
        ns.fresh_tmp("mode=1777,ro")
        write(DATABASE, self.content)
        self.check_untouched(b"Read-only file system")

    def test_full_place_is_told(self):
        ns.fresh_tmp("mode=1777,size=4k")
        write(DATABASE, read(SAMPLE))
        self.check(convert(DATABASE), 1, SCRATCH.encode() + b": No space left on device\n")

    def test_what_others_planted_there(self):
        victim = "/tmp/victim"
        for label, owner, plant, reason in (
                ("symbolic link", NOBODY, lambda: os.symlink(victim, SCRATCH), b"symbolic link"),
                ("dangling link", NOBODY, lambda: os.symlink("/tmp/not-there", SCRATCH), b"symbolic"),
                ("hard link", NOBODY, lambda: os.link(victim, SCRATCH), b"belongs to nobody"),
                ("hard link of one's own", 0, lambda: os.link(victim, SCRATCH), b"hard link"),
                ("file of another", NOBODY, lambda: os.rename(victim, SCRATCH), b"belongs to nobody"),
                ("pipe", NOBODY, lambda: os.mkfifo(SCRATCH, 0o666), b"not a plain file"),
                ("folder", NOBODY, lambda: os.mkdir(SCRATCH), b"not a plain file")):
            with self.subTest(label):
                ns.fresh_tmp()
                write(DATABASE, self.content)
                write(victim, b"precious\n")
                os.chmod(victim, 0o666)
                os.chown(victim, owner, owner)
                plant()
                before = what_stands_in("/tmp")
                self.check_untouched(reason)  # a pipe without a reader: must not wait for one
                self.assertEqual(what_stands_in("/tmp"), before)

    def test_planted_pipe_with_a_reader(self):
        os.mkfifo(SCRATCH, 0o666)
        reader = os.open(SCRATCH, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        self.check_untouched(b"not a plain file")
        self.assertEqual(os.read(reader, 100), b"")


class Golden(Case):
    """Databases in tests/data: NAME.in becomes NAME.want; NAME.trace is the trace before it and
    NAME.err the error stream, where there are such files. In layouts, one firewall in each layout
    becomes layout.want."""

    def check_golden(self, content, name):
        folder = ns.WORK + "/tests/data/"
        want = read(folder + name + ".want")
        messages = folder + name + ".err"
        write(DATABASE, content)
        self.check(convert(DATABASE), 0, read(messages) if os.path.exists(messages) else b"")
        self.maxDiff = None
        self.assertEqual(read(DATABASE).decode(), want.decode())
        trace = folder + name + ".trace"
        if os.path.exists(trace):
            self.assertEqual(read(SCRATCH).decode(), (read(trace) + want).decode())

    def test_data(self):
        names = sorted(name[:-3] for name in os.listdir(ns.WORK + "/tests/data") if name.endswith(".in"))
        self.assertIn("small_database", names)
        for name in names:
            with self.subTest(name=name):
                self.check_golden(read(f"{ns.WORK}/tests/data/{name}.in"), name)

    def test_three_layouts_of_one_firewall(self):
        databases = {read(f"{ns.WORK}/tests/data/layouts/{layout}.in")
                     for layout in ("current", "41", "numbered")}
        self.assertEqual(len(databases), 3)
        for database in databases:
            self.check_golden(database, "layouts/layout")

    def test_three_notations_of_one_configuration(self):
        traces = set()
        for sample in ("branch-office.conf", "branch-office-sections.conf", "branch-office-tags.conf"):
            with self.subTest(sample=sample):
                self.check_golden(read(f"{ns.WORK}/samples/{sample}"), "branch-office")
                traces.add(read(SCRATCH))
        self.assertEqual(len(traces), 1)


class Host(Case):
    """What the host says of names and routes shows in which links are twins."""

    config = """def_proxy_x_bind-port=1
net_ipaddr_own_addr=198.51.100.9
net_ipaddr_a-gate_addr=peer.invalid
net_ipaddr_b-gate_addr=192.0.2.77
net_vpnnetwork_a_ip-address=net_ipaddr_a-gate
net_vpnnetwork_b_ip-address=net_ipaddr_b-gate
rule_pffwd_1_src=net_ipaddr_own
rule_pffwd_1_dst=net_vpnnetwork_a
rule_pffwd_2_src=net_ipaddr_own
rule_pffwd_2_dst=net_vpnnetwork_b
"""

    def links(self):
        write(DATABASE, self.config.encode())
        self.check(convert(DATABASE), 0, b"")
        return read(DATABASE).count(b"_lname=")

    def test_names_and_routes(self):
        # Two gateways are one by name; the firewall and its own address are one by route.
        self.assertEqual(self.links(), 2)
        ns.call("ip", "link", "add", "outer", "type", "veth", "peer", "name", "inner")
        ns.call("ip", "link", "set", "outer", "up")
        ns.call("ip", "addr", "add", "198.51.100.9/24", "dev", "outer")
        ns.call("ip", "link", "set", "inner", "up")
        ns.call("ip", "route", "add", "default", "via", "198.51.100.1")
        self.addCleanup(ns.call, "ip", "link", "del", "outer")
        self.assertEqual(self.links(), 1)


class Hostile(Case):
    """No bytes crash the tool, hang it, or cost what is told elsewhere in the same file."""

    def check_survives(self, content, is_secret_kept):
        write(DATABASE, content)
        run = convert(DATABASE)
        self.assertIn(run.returncode, (0, 1), run.stderr[-4000:])
        self.assertNotIn(b"Sanitizer", run.stderr)
        self.assertNotIn(b"runtime error", run.stderr)
        lines = read(DATABASE)
        if run.returncode == 1:
            self.assertRegex(run.stderr, rb"flatlink: more than \d+ .* left out at .+\n")
            self.assertEqual(lines, content)
            return
        self.assertRegex(lines[-200:], rb"\nip_domainname=[^\n]*\n$")
        if is_secret_kept:
            self.assertTrue(lines.startswith(b"vpn_anonsecret=kept\n"), lines[:100])

    def check_all(self, cases):
        for label, content, is_secret_kept in cases:
            with self.subTest(label=label):
                self.check_survives(content, is_secret_kept)

    def samples(self):
        return [read(f"{ns.WORK}/samples/{name}") for name in sorted(os.listdir(ns.WORK + "/samples"))]

    # Sanitized, the depth counts; to reach every bound would take an hour.

    def test_damaged_files(self):
        self.check_all(hostile.damaged_files(self.samples(), 10 if ns.is_sanitized else 150))

    def test_nested_and_long_files(self):
        self.check_all(hostile.nested_and_long_files(50_000 if ns.is_sanitized else 1_000_000))

    @unittest.skipIf(ns.is_sanitized, "to reach every bound would take an hour")
    def test_bounds(self):
        for label, content, links in hostile.bounded_runs():
            with self.subTest(label=label):
                write(DATABASE, content.encode())
                run = convert(DATABASE)
                self.assertEqual(run.returncode, 1 if links is None else 0, run.stderr)
                if links is None:
                    self.assertIn(b"flatlink: more than ", run.stderr)
                    self.assertEqual(read(DATABASE), content.encode())
                else:
                    self.assertEqual(read(DATABASE).count(b"_lname="), links)

    def test_objects_that_lead_back_or_grow(self):
        levels, width = (8, 5000) if ns.is_sanitized else (60, 100_000)
        self.check_all(hostile.growing_objects(levels, width))


if __name__ == "__main__":
    ns.main()
