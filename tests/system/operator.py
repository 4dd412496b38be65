#!/usr/bin/env python3
"""operator.py FLATLINK FLATCTL SOURCE_DIR: whole runs of the operator's command."""
import glob
import hashlib
import json
import os
import pty
import re
import resource
import subprocess
import unittest

import hostile
import kit as ns
from kit import DATABASE, read, write

FLATCTL = ns.WORK + "/flatctl"


def flatctl(*args, **options):
    return subprocess.run([FLATCTL, *args], capture_output=True, check=False,
                          timeout=ns.time_limit_s(), **options)


def databases():
    return sorted(glob.glob(ns.WORK + "/samples/*.conf") +
                  glob.glob(ns.WORK + "/tests/data/**/*.in", recursive=True))


class Preview(ns.Case):
    def test_is_what_flatlink_leaves(self):
        for path in databases():
            with self.subTest(path=path):
                ns.fresh_tmp()
                before = read(path)
                preview = flatctl("preview", "--resolve", path)
                self.assertEqual(preview.returncode, 0, preview.stderr)
                self.assertEqual((read(path), os.listdir("/tmp")), (before, []))
                write(DATABASE, before)
                self.assertEqual(ns.convert(DATABASE).returncode, 0)
                self.assertEqual(preview.stdout, read(DATABASE))
                against = flatctl("preview", "--resolve", "--against", DATABASE, path)
                self.assertEqual((against.returncode, against.stdout), (0, b""))

    def test_asks_the_host_on_demand_alone(self):
        own = read(ns.WORK + "/samples/branch-office.conf").replace(b"gatehouse", b"peer").replace(b"larchmutual.invalid", b"invalid")
        write(DATABASE, own)
        hosts = ns.WORK + "/names"
        write(hosts, b"# names\n192.0.2.77 peer.invalid\n")
        for args, is_known in (([], False), (["--resolve"], True), (["--names", hosts], True)):
            run = flatctl("preview", *args, DATABASE)
            is_answered = b"peer.invalid=192.0.2.77" in run.stderr
            self.assertEqual(is_answered, is_known, run.stderr)
            run = flatctl("preview", "--ledger", "--format", "json", *args, DATABASE)
            asked = json.loads(run.stdout)["asked"]
            self.assertIn("192.0.2.10", asked["routes"])
            self.assertEqual([name in asked["unanswered"] for name in asked["names"]],
                             [not is_known])
        self.assertEqual(flatctl("preview", "--names", hosts, DATABASE).stdout,
                         flatctl("preview", "--resolve", DATABASE).stdout)

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
                self.assertEqual(run.returncode, status, run.stderr)
        with open("/dev/full", "wb") as full:
            run = subprocess.run([FLATCTL, "preview", DATABASE], stdout=full, check=False,
                                 stderr=subprocess.PIPE)
        self.assertEqual(run.returncode, 3, run.stderr)


class Ledger(ns.Case):
    # Of other classes a line may matter or not: they say what it is read for.
    IS_NEEDED = {"used": True, "default": False, "no-link": False, "unreached": False,
                 "no-place": False, "second-interface": False, "dropped": False,
                 "member-type": False, "replaced": False, "never-asked": False}

    @staticmethod
    def of(path):
        run = flatctl("preview", "--ledger", "--format", "json", path)
        return json.loads(run.stdout) if run.returncode == 0 else run

    def test_lines_taken_out(self):
        paths = [path for path in databases() if "tags" not in path]
        for path in paths[:3] if ns.is_sanitized else paths:
            lines = read(path).split(b"\n")
            output = flatctl("preview", path).stdout
            ledger = self.of(path)["ledger"]
            for row in ledger:
                if row["class"] not in self.IS_NEEDED:
                    continue
                at = row["line"] - 1
                write(DATABASE, b"\n".join(lines[:at] + lines[at + 1:]))
                is_needed = flatctl("preview", DATABASE).stdout != output
                self.assertEqual(is_needed, self.IS_NEEDED[row["class"]], (path, row, lines[at]))

    def test_sums(self):
        of_sample = self.of(ns.WORK + "/samples/branch-office.conf")["summary"]
        self.assertEqual((of_sample["used"], of_sample["decides"]), (103, 22))
        for path in databases():
            with self.subTest(path=path):
                ledger = self.of(path)
                output = flatctl("preview", path).stdout.decode("latin1").splitlines()
                self.assertEqual([line["key"] for line in ledger["output"]],
                                 [line.split("=")[0] for line in output])
                counts = {row: 0 for row in ledger["summary"]}
                for row in ledger["ledger"]:
                    counts[row["class"]] += 1
                    self.assertEqual(row["to"] != [], row["class"] == "used")
                for name, count in counts.items():
                    if name not in ("input", "output", "derived", "written"):
                        self.assertEqual(ledger["summary"][name], count, name)


class Explain(ns.Case):
    SAMPLE = ns.WORK + "/samples/branch-office.conf"

    def test_link(self):
        run = flatctl("explain", "link", "8", "--format", "json", self.SAMPLE)
        link = json.loads(run.stdout)
        self.assertEqual((link["output"], link["rule"]["lines"], len(link["same"])),
                         ([169, 193], [145, 146], 3))
        self.assertEqual((link["remote"]["from"], link["local"]["how"]), ([72, 41], "program"))
        origins = {field["key"]: field["from"] for field in link["fields"]}
        for key, lines in (("gateway", [72, 41]), ("auth", [74]), ("ikepolicy", [75, 99]),
                           ("lnetwork_start_address", []), ("logging", [])):
            self.assertEqual(origins[key], lines, key)
        by_name = flatctl("explain", "link", "East Quay", self.SAMPLE).stdout.decode()
        self.assertIn("secret=<secret ", by_name)
        output = flatctl("preview", self.SAMPLE).stdout.decode().splitlines()
        named = [line for line in output if line.endswith("_description=East Quay")]
        self.assertEqual(by_name.count("\n  rule "), len(named))

    def test_line(self):
        for wanted, status, words in (("143", 0, "in 6 links"), ("net_ipnet_farm_addr", 0, "mcpool_"),
                                      ("4", 1, ""), ("999999999999", 1, ""), ("nothing", 1, "")):
            run = flatctl("explain", "line", wanted, self.SAMPLE)
            self.assertEqual(run.returncode, status, wanted)
            self.assertIn(words, run.stdout.decode())
        write(DATABASE, b"ip_x\n\nip_y\x1b[2J\nip_z=1\nip_z=2\n")
        for wanted, lines in (("ip_x", [1]), ("ip_y\x1b[2J", [3]), ("ip_z", [4, 5]), ("", []), ("0", [])):
            for verb in ("line", "link"):
                run = flatctl("explain", verb, wanted, DATABASE)
                told = [int(line[1:].split()[0]) for line in run.stdout.decode().splitlines()]
                self.assertEqual((told, run.returncode), (lines, 0 if lines else 1) if verb == "line" else ([], 1))
                self.assertNotRegex(run.stdout + run.stderr, rb"[\x00-\x09\x0b-\x1f]")

class Check(ns.Case):
    def test_formats_and_status(self):
        write(DATABASE, b"ip_hostname=gate\nip_hostname=\xe9\x1b[2J\n")
        for args, status in (([], 0), (["--strict"], 1), (["--only", "D101", "--strict"], 0)):
            run = flatctl("check", *args, DATABASE)
            self.assertEqual(run.returncode, status, run.stdout)
            self.assertNotIn(b"\x1b", run.stdout)
        found = json.loads(flatctl("check", "--format", "json", DATABASE).stdout)
        self.assertEqual(found["schema"], "flatctl/check/1")
        self.assertEqual(found["inputs"][0]["sha256"], hashlib.sha256(read(DATABASE)).hexdigest())
        self.assertEqual([(f["code"], f["line"]) for f in found["findings"]], [("D111", 1)])
        lines = flatctl("check", "--format", "jsonl", DATABASE).stdout.splitlines()
        self.assertEqual([json.loads(line)["code"] for line in lines], ["D111"])
        sarif = json.loads(flatctl("check", "--format", "sarif", DATABASE).stdout)
        self.assertEqual(sarif["runs"][0]["results"][0]["ruleId"], "D111")
        self.assertIn(b"the later value counts", flatctl("help", "D111").stdout)
        self.assertEqual(flatctl("help", "D999").returncode, 2)
        self.assertEqual(flatctl("check", "/etc/passwd").returncode, 1)
        self.assertEqual(flatctl("check", "/nowhere", DATABASE).returncode, 3)

    def test_keywords_of_the_manual_are_known(self):
        items = re.findall(r"^\.It .*Ic .*", read(ns.WORK + "/man/netperm-table.5").decode(), re.M)
        keywords = re.findall(r"Ic ([\w-]*\w)(?= |$)", "\n".join(items), re.M)
        self.assertGreater(len(keywords), 20)
        options = ns.WORK + "/relay.options"
        write(options, b"-dest list permit-destination\n")
        write(DATABASE, "".join(f"relay: {word} 1\n" for word in [*keywords, "nosuch"]).encode())
        run = flatctl("check", "--proxy", "relay", "--options", options, "--format", "json", DATABASE)
        found = json.loads(run.stdout)["findings"]
        self.assertEqual([f["line"] for f in found if f["code"] == "T120"], [len(keywords) + 1])

    @staticmethod
    def findings(path):
        return json.loads(flatctl("check", "--kind", "database", "--format", "json", path).stdout)["findings"]

    def test_sample(self):
        found = [(f["code"], f["line"], f["count"], f["also"])
                 for f in self.findings(ns.WORK + "/samples/branch-office.conf")
                 if f["code"] not in ("D601", "D602")]
        self.assertEqual(found, [
            ("D402", 3, 2, [139]), ("D405", 23, 1, []), ("D401", 49, 2, [54]), ("D304", 62, 1, []),
            ("D231", 75, 19, []), ("D231", 76, 16, []), ("D231", 91, 5, []), ("D231", 92, 2, []),
            ("D301", 143, 2, [152]), ("D311", 150, 6, [])])

    def test_nothing_is_left_out_in_silence(self):
        """Lines that the ledger calls unused, those of an idle rule together, and equal links."""
        def rule_of(key):
            return "_".join(key.split("_")[:3])

        quiet = ("used", "decides", "layout", "default", "member-type", "no-link")
        for path in databases() + glob.glob(ns.WORK + "/tests/fuzz/corpus/*/*"):
            ledger = Ledger.of(path)
            if not isinstance(ledger, dict):
                continue
            found = self.findings(path)
            told = {line for f in found
                    for line in (f["line"], *f["also"], *(r["line"] for r in f["related"]))}
            rows = ledger["ledger"]
            rules = {rule_of(row["key"]) for row in rows if row["line"] in told}
            silent = [row for row in rows
                      if row["class"] not in quiet and row["line"] not in told or
                      row["class"] == "no-link" and rule_of(row["key"]) not in rules]
            self.assertEqual(silent, [], path)
            self.assertEqual(sum(f["count"] for f in found if f["code"] in ("D303", "D311")),
                             sum(one["code"] == "D311" for one in ledger["dropped"]), path)


class Terminal(ns.Case):
    def on_terminal(self, *args, stdin=subprocess.DEVNULL, streams=("stdout", "stderr"), **popen):
        """What a run prints on a terminal that its streams are, and its status."""
        ours, theirs = pty.openpty()
        run = subprocess.Popen([FLATCTL, *args], stdin=stdin, **popen,
                               **{name: theirs if name in streams else subprocess.DEVNULL
                                  for name in ("stdout", "stderr")})
        os.close(theirs)
        said = b""
        try:
            while block := os.read(ours, 65536):
                said += block
        except OSError:  # the other end is closed
            pass
        return said, run.wait()

    def test_secrets(self):
        write(DATABASE, b"vpn_settings_anonsecret=hush\nip_hostname=gate\n")
        os.chmod(DATABASE, 0o600)
        for args in (("preview",), ("convert", "--to", "flat", "-o", "-")):
            self.assertNotIn(b"hush", self.on_terminal(*args, DATABASE)[0])
            self.assertIn(b"=hush", self.on_terminal(*args, "--reveal", DATABASE)[0])
            self.assertIn(b"=hush", flatctl(*args, "--reveal", "--yes", DATABASE).stdout)
            self.assertEqual(flatctl(*args, "--reveal", DATABASE).returncode, 2)

    def test_progress(self):
        for args, is_told in ((("preview",), True), (("preview", "-q"), False)):
            slow = subprocess.Popen(["sh", "-c", "echo ip_hostname=gate; sleep 2.7"], stdout=subprocess.PIPE)
            said, status = self.on_terminal(*args, "-", stdin=slow.stdout, streams=("stderr",))
            slow.communicate()
            self.assertEqual((status, b"\rworking  2 s" in said), (0, is_told), said)
            self.assertLess(said.count(b"working"), 8)
            self.assertTrue(not is_told or said.endswith(b"  \r"), said)  # erased


class ExplainAccess(ns.Case):
    def test_service_names_and_status(self):
        write(DATABASE, b"relay: permit-hosts 127.0.0.1\nrelay: destination *\nrelay: ports smtp\n")
        for dest, status in (("10.1.1.1:25", 0), ("10.1.1.1:80", 1), ("nowhere.invalid:25", 1),
                             ("10.1.1.1", 2)):
            run = flatctl("explain", "access", "--proxy", "relay", "--client", "127.0.0.1", "--dest",
                          dest, DATABASE)
            self.assertEqual(run.returncode, status, run.stdout + run.stderr)
        run = flatctl("explain", "access", "--format", "json", "--proxy", "relay", "--client",
                      "10.1.1.1", DATABASE)
        self.assertEqual((json.loads(run.stdout)["verdict"], run.returncode), ("deny", 1))
        self.assertEqual(json.loads(run.stdout)["turn"][0]["to"],
                         "relay: permit-hosts 10.1.1.1 127.0.0.1")
        self.assertEqual(json.loads(run.stdout)["asked"], [])
        run = flatctl("explain", "access", "--format", "json", "--proxy", "relay", "--client",
                      "127.0.0.1", "--dest", "10.1.1.1:80", DATABASE)
        told = json.loads(run.stdout)
        self.assertEqual((told["stage"], told["line"], told["walk"][-1]["kind"]), ("port", 3, "ports"))
        write(DATABASE, b"relay: permit-hosts *.lan\n")
        run = flatctl("explain", "access", "--proxy", "relay", "--client", "10.1.1.1=a.lan", DATABASE)
        self.assertIn(b"terms          lines 1\n  asked          10.1.1.1=a.lan\n", run.stdout)


class Corpora(ns.Case):
    def test_hostile_inputs_end_in_a_verdict(self):
        """A crash of the child would be status 1 with a finding of its own."""
        for path in glob.glob(ns.WORK + "/tests/fuzz/corpus/*/*"):
            write(DATABASE, read(path))
            for args in (["check"], ["check", "--kind", "table"], ["preview"], ["preview", "--ledger"],
                         ["explain", "link", "1"], ["explain", "line", "1"], ["convert", "--lossy", "--to", "tags", "-o", "/tmp/out"]):
                run = flatctl(*args, DATABASE)
                self.assertIn(run.returncode, (0, 1), run.stderr)
                for stream in (run.stdout if args != ["preview"] else b"", run.stderr):
                    self.assertNotIn(b"D502", stream)
                    self.assertNotIn(b"ended early", stream)
                    self.assertNotRegex(stream, rb"[\x00-\x09\x0b-\x1f\x7f]")


class Cost(ns.Case):
    """Beside the plain preview, which moves with the machine as they do: up to 4 times its processor
    time; where each step visits all earlier ones, 30 times and more."""
    TIMES_MAX = 10

    @staticmethod
    def seconds(*args):
        def spent():
            usage = resource.getrusage(resource.RUSAGE_CHILDREN)
            return usage.ru_utime + usage.ru_stime
        before = spent()
        run = flatctl(*args, DATABASE)
        assert run.returncode in (0, 1), run.stderr
        return spent() - before

    def test_check_and_ledger_keep_step_with_the_preview(self):
        count = 4000 if ns.is_sanitized else 32000
        def rules(count):
            return "".join(f"rule_pffwd_{i}_src=net_ipaddr_n{i}\nnet_ipaddr_n{i}_addr=10.4.0.7\n"
                           f"rule_pffwd_{i}_dst=net_vpnnetwork_quay\n" for i in range(2, count))

        for label, text in (
                ("entries of one pool", "vpn_mcpool_p_mask=24bits\n" + "".join(
                    f"vpn_mcpool_p_addr_{i}_network=net_ipaddr_pc\n" for i in range(count))),
                ("rules that equal one of many lines", rules(count // 2) + "".join(
                    f"rule_pffwd_2_x{i}=y\n" for i in range(2 * count))),
                ("one long text read for each link", rules(count // 8) +
                 "net_vpnnetwork_quay_ike=" + "x" * count * 10 + "\n")):
            write(DATABASE, (hostile.BASE + text).encode())
            plain = self.seconds("preview")
            for verb in (["check"], ["preview", "--ledger"]):
                with self.subTest(label=label, verb=verb):
                    self.assertLess(self.seconds(*verb), self.TIMES_MAX * plain)


class Generated(ns.Case):
    def test_completion(self):
        script = flatctl("completion", "bash").stdout.decode()
        for words, wanted in (("pre", "preview"), ("convert --to ta", "tags"),
                              ("convert --verif", "--verify"), ("check --verif", "")):
            words = ["flatctl", *words.split(" ")]
            line = f"COMP_WORDS=({' '.join(words)}); COMP_CWORD={len(words) - 1}; _flatctl"
            run = subprocess.run(["bash", "-c", f"{script}\n{line}; echo ${{COMPREPLY[*]}}"],
                                 capture_output=True, check=True, cwd="/tmp")
            self.assertEqual((run.stdout.decode().strip(), run.stderr), (wanted, b""))
        for shell in ("zsh", "fish"):
            text = flatctl("completion", shell).stdout
            for word in (b"convert", b"verify", b"sections"):
                self.assertIn(word, text)

    def test_manuals_are_those_of_the_tables(self):
        """scripts/make-manuals writes them."""
        page = read(ns.WORK + "/man/flatctl.1")
        self.assertEqual(page, flatctl("manual").stdout)
        verbs = re.findall(r"^\.Xr flatctl-([a-z-]+) 1", page.decode(), re.M)
        self.assertGreater(len(verbs), 4)
        for verb in verbs:
            self.assertEqual(read(f"{ns.WORK}/man/flatctl-{verb}.1"),
                             flatctl("manual", *verb.split("-")).stdout)


class Convert(ns.Case):
    OUT = ns.WORK + "/out"
    FORMS = ("flat", "sections", "tags", "numbered", "xml")

    def test_there_and_back(self):
        for path in databases():
            wanted = flatctl("preview", path).stdout
            for form in self.FORMS:
                with self.subTest(path=path, form=form):
                    run = flatctl("convert", "--to", form, "--verify", "--lossy", "-o", self.OUT, path)
                    self.assertEqual(run.returncode, 0, run.stderr)
                    if b"changed: " in run.stderr or form == "numbered":
                        continue  # the numbered layout has lists that bring interfaces of their own
                    # Flat again, so that flatlink can be asked about XML too.
                    run = flatctl("convert", "--to", "flat", "--verify", "-o", self.OUT, self.OUT)
                    self.assertEqual(run.returncode, 0, run.stderr)
                    self.assertEqual(flatctl("preview", self.OUT).stdout, wanted)

    def test_in_place_and_undo(self):
        before = read(databases()[0])
        write(DATABASE, before)
        os.chmod(DATABASE, 0o640)
        os.symlink(DATABASE, "/tmp/link")
        for form in ("tags", "vpn"):
            run = flatctl("convert", "--to", form, "--in-place", "--format", "json", "/tmp/link")
            self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(json.loads(run.stdout)["input"]["notation"], "tags")
        self.assertEqual(read(DATABASE), flatctl("preview", databases()[0]).stdout)
        copies = glob.glob(DATABASE + ".*~")
        self.assertEqual([os.stat(copy).st_mode & 0o777 for copy in copies], [0o600] * 2)
        for _ in copies:
            self.assertEqual(flatctl("undo", DATABASE).returncode, 0)
        self.assertEqual(read(DATABASE), before)
        self.assertEqual(os.stat(DATABASE).st_mode & 0o777, 0o640)
        self.assertEqual(flatctl("undo", DATABASE).returncode, 3)
        os.remove(DATABASE + ".undone~")

    @unittest.skipIf(ns.is_sanitized, "the address space has no limit")
    def test_half_a_text_is_not_written(self):
        # The path of each section is as long as its depth: far more than the memory allowed.
        write(DATABASE, b"<ip>" + b"<a><c><b>1</b></c>" * 30_000)
        run = flatctl("convert", "--to", "sections", "--lossy", "-o", self.OUT + "2", DATABASE)
        self.assertEqual(run.returncode, 1)
        self.assertIn(b"needs more memory", run.stderr)
        self.assertFalse(os.path.exists(self.OUT + "2"))

    def test_standard_output(self):
        path = ns.WORK + "/samples/branch-office.conf"
        run = flatctl("convert", "--to", "vpn", "--verify", "-o", "-", path)
        self.assertEqual(run.stdout, flatctl("preview", path).stdout)
        self.assertIn(b"read back: the same", run.stderr)
        self.assertEqual(flatctl("convert", "--to", "vpn", "--format", "json", "-o", "-", path).returncode, 2)

    @unittest.skipIf(ns.is_sanitized, "a tracer and the leak checker exclude each other")
    def test_ends_at_each_call(self):
        """Killed, or with a full disk: the database is the old one or the new one, and then its old
        content is kept."""
        old = b"ip_hostname=gate\nip_domainname=plant.invalid\n"
        trace = ns.WORK + "/calls"
        command = (FLATCTL, "convert", "--to", "tags", "--in-place", DATABASE)

        def run_traced(*inject):
            write(DATABASE, old)
            return subprocess.run(["strace", "-qq", "-o", trace, *inject, *command], check=False,
                                  capture_output=True).returncode

        def remove_copies():
            for copy in glob.glob(DATABASE + ".*"):
                os.remove(copy)
        self.addCleanup(remove_copies)
        self.assertEqual(run_traced(), 0)
        new, states = read(DATABASE), set()
        self.assertNotEqual(new, old)
        names = re.findall(r"(?m)^(\w+)\(", read(trace).decode())
        for at in range(names.index("umask"), len(names) - 1):
            number = names[:at + 1].count(names[at])
            for fault, wanted in (("signal=KILL", -9), ("error=ENOSPC", 3)):
                if wanted == 3 and names[at] not in ("write", "pwrite64", "fsync", "renameat"):
                    continue
                remove_copies()
                status = run_traced("-e", f"inject={names[at]}:{fault}:when={number}")
                content, kept = read(DATABASE), [read(copy) for copy in glob.glob(DATABASE + ".*~")]
                with self.subTest(call=names[at], at=at, fault=fault):
                    self.assertIn(content, (old, new))
                    self.assertTrue(content == old or kept == [old])
                    self.assertTrue(status == wanted or (wanted == 3 and content == new), status)
                states.add(content)
        self.assertEqual(states, {old, new})

    def test_refusals_write_nothing(self):
        for database, form, code in ((b"root:x:0:0\n", "vpn", b"D101"), (b"", "flat", b"D101"),
                                     (b"vlink_1_lname=x\n", "flat", b"D102"),
                                     (b"ip_a=\x1b[2J<\n", "tags", b"ip_a")):
            with self.subTest(database=database):
                write(DATABASE, database)
                run = flatctl("convert", "--to", form, "--in-place", DATABASE)
                self.assertEqual((run.returncode, read(DATABASE)), (1, database))
                self.assertIn(code, run.stderr)
                self.assertNotIn(b"\x1b", run.stderr)
        self.assertEqual(glob.glob(DATABASE + ".*"), [])


if __name__ == "__main__":
    ns.main("flatctl", folders=("man", "tests/fuzz/corpus/*"))
