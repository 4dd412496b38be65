"""Start-up and reload of a proxy as a whole process.  proxy_start.py PROBE"""

import datetime
import os
import subprocess
import sys
import time

import proxy_host

BASE = "probe: k x\n"
NO_TABLE = "No such file or directory"


def probe(arguments, how="plain.init", name="a/b/probe", commands=""):
    """Runs the probe to its end; its status, printed lines and error stream."""
    done = subprocess.run([name, how] + arguments, executable=sys.argv[1], input=commands,
                          capture_output=True, text=True, check=False, timeout=60)
    return done.returncode, done.stdout, done.stderr


def state_of(text):
    """The last printed state."""
    return dict(line.split("=", 1) for line in text.splitlines() if "=" in line)


def start(checks, label, table, arguments, status=0, state=None, records=(), syslog=(), stdout=None,
          commands="", **how):
    """One run: `records` are (event, line, text), `syslog` texts, in their order."""
    if table is not None:
        proxy_host.write_table(table)
    got_status, got_stdout, stderr = probe(arguments, commands=commands, **how)
    checks.equal(f"{label}: status", got_status, status)
    checks.equal(f"{label}: error stream", stderr, "")
    if stdout is not None:
        checks.equal(f"{label}: stdout", got_stdout, stdout)
    got = state_of(got_stdout)
    for key, value in (state or {}).items():
        checks.equal(f"{label}: {key}", got.get(key), value)
    checks.equal(f"{label}: records", reported(checks), list(records))
    checks.equal(f"{label}: system log", [text for _, _, text in checks.syslog.lines()],
                 list(syslog))


def reported(checks):
    return [(record.event, record.line, record.text) for record in checks.log.records()]


def check_command_line(checks):
    start(checks, "version without a table", None, ["-version"], syslog=(), how="none.init",
          stdout="probe        release 1.0 patch 0\n")
    start(checks, "version of a long name", None, ["-version", "x"], how="none.init",
          name="/x/a-name-of-many-characters", stdout="a-name-of-ma release 1.0 patch 0\n")
    start(checks, "no table", None, ["-as", "x"], status=1, how="none.init",
          stdout="Unable to read netperm-table.  Exiting.\n",
          syslog=[f"syserr: configuring init-proxy, cannot open {proxy_host.TABLE}: "
                  f"{NO_TABLE}", "probe: Unable to read netperm-table.  Exiting.\n"])
    start(checks, "null arguments", BASE, [], status=1, how="plain.null", stdout="",
          records=[(11501, 0, "cfgerr: init_proxy called with bad arguments")])
    as_table = "*: k x\n"
    for label, arguments, state in (
            ("plain", [], {"name": "probe", "argv": "[a/b/probe]"}),
            ("as appended", ["-as", "-x"], {"name": "probe-x", "argv": "[-x]"}),
            ("as other", ["-as", "other", "-version"],
             {"name": "other", "argv": "[other][-version]"}),
            ("runas", ["-runas", "other", "-as", "third"],
             {"name": "other", "argv": "[other][-as][third]"}),
            ("as counts in first place", ["y", "-as", "x"],
             {"name": "probe", "argv": "[a/b/probe][y][-as][x]"}),
            ("as of a long name", ["-as", "-" + "x" * 2000], {"name": ("probe-" + "x" * 2000)[:1023]}),
            ("service", ["-service", "-x", "y"], {"argv": "[-x][y]", "port": "(none)"}),
    ):
        for contexts in ("none", "plain", "global"):
            own = "" if contexts == "none" else state.get("name", "probe")
            start(checks, f"{label}, {contexts}", as_table, arguments, how=f"{contexts}.init",
                  state={**state, "context": own, "end": "1", "same": "1"})
    start(checks, "all options", BASE, ["-daemon", "1234", "-service", "x", "-port", "http", "-y"],
          how="plain.no_daemon", state={"argv": "[http][-y]", "port": "http"})
    for label, arguments, complaint in (
            ("as", ["-as"], "-as missing argument"),
            ("runas", ["-runas"], "-as missing argument"),
            ("daemon", ["-daemon"], "-daemon needs port info"),
            ("port", ["-service", "x", "-port"], "-daemon needs port info"),
            ("service", ["-service"], "-service needs an argument"),
    ):
        start(checks, f"{label} without operand", BASE, arguments, status=1, stdout="",
              how="plain.no_daemon", records=[(11501, 0, f"cfgerr: {complaint}")])


def check_settings(checks):
    start(checks, "defaults", BASE, [], state={
        "directory": "", "tmp-directory": "/tmp", "groupid": "-1", "userid": "-1",
        "timeout": "7200", "child-limit": "0", "accept-count": "1", "bind-address": "0.0.0.0",
        "entries": "1:k[x]"})
    long_path = "/" + "d" * 900
    start(checks, "all keywords", f"init-proxy: timeout 1\nprobe: directory {long_path}\n"
          "probe: tmp-directory /var/tmp\nprobe: groupid daemon\nprobe: userid 42\n"
          "probe: timeout 60\nprobe: child-limit 7x\nprobe: accept-count abc\n"
          "probe: bind-address 10.0.0.1 extra\nprobe: timeout 61\n", [], state={
              "directory": long_path, "tmp-directory": "/var/tmp", "groupid": "1",
              "userid": "42", "timeout": "60", "child-limit": "7", "accept-count": "0",
              "bind-address": "10.0.0.1"})
    start(checks, "no address", BASE + "probe: bind-address none\nprobe: userid ''\n", [],
          state={"bind-address": "255.255.255.255", "userid": "0"})
    for keyword, complaint in (("directory", "requires a pathname"),
                               ("tmp-directory", "requires a pathname"),
                               ("groupid", "must have one parameter"),
                               ("userid", "must have one parameter"),
                               ("timeout", "needs an argument"),
                               ("child-limit", "needs an argument"),
                               ("accept-count", "needs an argument")):
        for arguments in ("  ", " 1 2"):
            start(checks, f"{keyword}{arguments}", f"\nprobe: {keyword}{arguments}\n", [], status=1,
                  records=[(11502, 2, f"cfgerr: {keyword} {complaint}, line 2")])
    start(checks, "bind-address", "probe: bind-address  \n", [], status=1,
          records=[(11502, 1, "cfgerr: bind-address needs an argument, line 1")])
    for keyword, kind in (("groupid", "gid"), ("userid", "uid")):
        start(checks, f"unknown {keyword}", f"\n\nprobe: {keyword} no-such-name\n", [], status=1,
              records=[(11502, 3, f"cfgerr: cannot map no-such-name to {kind}")])
    start(checks, "faults in the order of the keywords",
          "probe: timeout  \nprobe: directory  \n", [], status=1,
          records=[(11502, 2, "cfgerr: directory requires a pathname, line 2")])


def check_entries(checks):
    failed = (11503, 0, "cfgerr: failed to get config entries for probe")
    start(checks, "empty table", "", [], status=1, records=[failed])
    start(checks, "entries for others", "init-proxy: k x\nother: k x\n", [], status=1,
          records=[failed])
    start(checks, "entries for all", "*: k x\n", [], state={"entries": "1:k[x]"})
    fault = f"cfgerr: {proxy_host.TABLE} line 2 malformed"
    # The log itself reads the default settings for its first two objects.
    start(checks, "faulty line, read for each name", "probe: k x\nfault\n", [],
          records=[(11502, 2, fault)] * 2, syslog=[fault] * 2)
    policies = "probe: permit-hosts * -policy a\npolicy-a: k 1\npolicy-a: k 2\n"
    start(checks, "policy", policies, [], commands="policy a\n", state={"policy": "2:k[1] 3:k[2]"})
    start(checks, "policy without entries", "probe: permit-hosts * -policy a\n", [], status=1,
          records=[(11503, 0, "cfgerr: could not find Policy : a.")])


def check_logging(checks):
    fault = "probe: hosts  \n"
    text = "cfgerr: hosts takes at least one argument, line 1"
    for mode, records, syslog in (
            ("normal", [], [text, "host, denied"]),
            ("both", [(11502, 1, text), (1503, 7, "host, denied")], [text, "host, denied"]),
            ("none", [], [])):
        # The first log opens before the proxy's own entries are read: common ones choose for it.
        start(checks, mode, fault + f"init-proxy,probe: logging {mode}\n", [], commands="send\n",
              records=records, syslog=syslog)
    proxy_host.write_table(fault + "init-proxy,probe: logging both\n")
    probe([], commands="send\n")
    checks.equal("names in the standard log",
                 [record.proxy for record in checks.log.records()], ["probe", "probe"])
    checks.equal("names in the system log", [line[:2] for line in checks.syslog.lines()],
                 [(29, "init-proxy"), (29, "probe")])
    # Local time, in a zone where hour and minute differ from the host's.
    proxy_host.write_table(fault + "init-proxy,probe: logging normal\n")
    begun = time.time()
    subprocess.run(["probe", "plain.init"], executable=sys.argv[1], input="send\n", text=True,
                   stdout=subprocess.DEVNULL, check=True, timeout=60,
                   env={**os.environ, "TZ": "XXX-9:17"})
    zone = datetime.timezone(datetime.timedelta(hours=9, minutes=17))
    times = {datetime.datetime.fromtimestamp(begun + i, zone).strftime("%b %e %H:%M:%S").encode()
             for i in range(proxy_host.PATIENCE_S)}
    checks.equal("local time", {line[4:19] for line in checks.syslog.datagrams()} - times, set())


class Session:
    """A probe that is told what to do while it runs."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen(["probe", "plain.no_daemon", *arguments],
                                        executable=sys.argv[1], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.answer()

    def answer(self):
        lines = []
        while (line := self.process.stdout.readline()) not in ("done\n", ""):
            lines.append(line)
        return state_of("".join(lines))

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        return self.answer()

    def end(self):
        self.process.stdin.close()
        return self.process.wait(timeout=60)


def check_reload(checks):
    proxy_host.write_table("probe: timeout 1\nprobe: directory /a\nprobe: tmp-directory /b\n"
                           "probe: hosts * -policy p\npolicy-p: k 1\n", 1000)
    probe_run = Session()
    second = "probe: timeout 2\nprobe: hosts * -policy p\npolicy-p: k 2\n"

    def reload(label, table, time_s, timeout, policy, records=()):
        if table is not None:
            proxy_host.write_table(table, time_s)
        probe_run.tell("reload")
        checks.equal(f"{label}: timeout", probe_run.tell("state")["timeout"], timeout)
        checks.equal(f"{label}: policy", probe_run.tell("policy p").get("policy"), policy)
        checks.equal(f"{label}: records", reported(checks), list(records))

    reload("same time", second, 1000, "1", "5:k[1]")
    reload("earlier time", None, None, "1", "5:k[1]")
    reload("time set back", second, 999, "1", "5:k[1]")
    reload("later time", second, 1001, "2", "3:k[2]")
    state = probe_run.tell("state")
    checks.equal("absent keyword stays", state["directory"], "/a")
    checks.equal("but for one", state["tmp-directory"], "/tmp")
    failed = [(11503, 0, "cfgerr: failed to get config entries for probe"),
              (11502, 0, "Error reading proxy configuration file for update.")]
    reload("no entries left", "other: timeout 3\n", 1002, "2", "3:k[2]", failed)
    reload("tried again", None, None, "2", "3:k[2]", failed)
    no_policy = [(11503, 0, "cfgerr: could not find Policy : p."),
                 (11502, 0, "Error building data structures for policies.")]
    reload("no policy", "probe: timeout 4\nprobe: hosts * -policy p\n", 1003, "4", "", no_policy)
    reload("mended, same time", "probe: timeout 5\nprobe: hosts * -policy p\npolicy-p: k 5\n",
           1003, "5", "3:k[5]")
    reload("part of a second", second, 1003.5, "2", "3:k[2]")
    checks.equal("end", probe_run.end(), 0)

    proxy_host.write_table(BASE, 1000)
    faulty = Session()
    proxy_host.write_table("probe: timeout  \n", 2000)
    faulty.process.stdin.write("reload\n")
    checks.equal("fault at a reload ends the process", faulty.end(), 1)
    checks.equal("its record", [record[:2] for record in checks.log.records()], [(11502, 1)])


def main():
    proxy_host.enter()
    return proxy_host.Checks().run((check_command_line, check_settings, check_entries,
                                    check_logging, check_reload))


if __name__ == "__main__":
    sys.exit(main())
