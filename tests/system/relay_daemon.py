"""The daemon loop, with the probe as its proxy: every connection prints the probe's state and then
obeys lines of its client.  relay_daemon.py PROBE [SLEEP-SHIM]"""

import os
import resource
import signal
import socket
import stat
import subprocess
import sys
import time

import proxy_host
from proxy_host import connect, children, descriptors, read_all, wait_until

PORT = 7001
TABLE = "probe: timeout 1\n"


def start(table=TABLE, port=PORT, **popen):
    proxy_host.write_table(table, 1000)
    return proxy_host.Daemon(sys.argv[1], port, "plain.init", **popen)


class Client:
    """A connection whose child has answered."""

    def __init__(self, port=PORT):
        self.socket = connect(port)
        self.text = ""
        while not self.text.endswith("done\n"):
            part = self.socket.recv(65536)
            if not part:
                break
            self.text += part.decode("latin-1")

    def state(self, key):
        return dict(line.split("=", 1) for line in self.text.splitlines() if "=" in line).get(key)

    def close(self):
        """Ends the child and waits until it has closed."""
        self.socket.shutdown(socket.SHUT_WR)
        read_all(self.socket)
        self.socket.close()


def refused(port=PORT):
    client = connect(port)
    with client:
        return read_all(client) == b""


def check_start_and_end(checks):
    for number, text in ((signal.SIGHUP, "caught HUP signal"), (signal.SIGINT, "caught INT signal"),
                         (signal.SIGTERM, "caught TERM signal")):
        daemon = start().ready()
        checks.equal("started process", daemon.started, 0)
        checks.equal("pid file", proxy_host.pid_text(PORT), f"{daemon.pid}\n")
        mode = os.stat(f"/var/run/proxy.{PORT}.pid").st_mode
        checks.equal("its mode", stat.S_IMODE(mode), 0o644)
        checks.equal("no lock", [link for link in descriptors(daemon.pid).values()
                                 if "lock" in link], [])
        nulls = descriptors(daemon.pid)
        checks.equal("standard descriptors", [nulls.get(fd) for fd in range(3)], ["/dev/null"] * 3)
        client = Client()
        checks.equal("a connection's arguments", client.state("argv"), f"[{PORT}]")
        client.close()
        checks.equal(f"status, {text}", daemon.end(number), 1)
        checks.log.texts(10009)
        checks.equal("reports", [(record.event, record.text) for record in checks.log.records()],
                     [(10004, f"Starting daemon mode on port {PORT}({PORT})"), (10009, text)])
        checks.equal("pid file stays", proxy_host.pid_text(PORT), f"{daemon.pid}\n")
        checks.log.clear()
    daemon = start(port="http").ready()
    checks.equal("name of a service", checks.log.texts(10004),
                 ["Starting daemon mode on port http(80)"])
    checks.equal("its file", proxy_host.pid_text(80), f"{daemon.pid}\n")
    checks.equal("its end", daemon.end(), 1)


def check_bad_ports(checks):
    for port in ("no-such-service", "65536", "99999999999"):
        checks.log.clear()
        checks.equal(f"status, port {port}", start(port=port).started, 1)
        checks.equal("report", checks.log.texts(11502), [f"cfgerr: cannot decode {port} as port"])


def check_pid_file(checks):
    path = f"/var/run/proxy.{PORT}.pid"
    os.unlink(path)
    with open("/var/run/target", "w", encoding="ascii") as file:
        file.write("keep")
    for label, prepare in (("a link", lambda: os.symlink("/var/run/target", path)),
                           ("a pipe", lambda: os.mkfifo(path)),
                           ("a folder", lambda: os.mkdir(path))):
        prepare()
        daemon = start().ready()
        checks.equal(f"{label}: the daemon runs", daemon.started, 0)
        with open("/var/run/target", encoding="ascii") as file:
            checks.equal(f"{label}: target", file.read(), "keep")
        checks.equal(f"{label}: end", daemon.end(), 1)
        (os.rmdir if os.path.isdir(path) and not os.path.islink(path) else os.unlink)(path)
    with open(path, "w", encoding="ascii") as file:
        file.write("1234567890\nold\n")
    daemon = start().ready()
    checks.equal("an old file", proxy_host.pid_text(PORT), f"{daemon.pid}\n")
    daemon.end()


def check_descriptors(checks):
    """A connection child has the client on 0, 1 and 2, and otherwise its log only."""
    for label, popen in (("usual", {}),
                         ("started without any", {"preexec_fn": lambda: os.closerange(0, 3)})):
        daemon = start("probe: logging both\n", **popen).ready()
        client = Client()
        checks.equal(f"{label}: text", client.text.startswith("name=probe\n"), True)
        own = descriptors(daemon.pid)
        child = descriptors(children(daemon.pid)[0])
        checks.equal(f"{label}: client", child[0].startswith("socket:") and
                     child[0] == child[1] == child[2], True)
        others = {link for fd, link in child.items() if fd > 2}
        checks.equal(f"{label}: nothing of the parent's", others & set(own.values()), set())
        checks.equal(f"{label}: two logs", len(others), 2)
        checks.log.clear()
        client.socket.send(b"send\n")
        checks.equal(f"{label}: no record to the client", client.socket.recv(65536), b"done\n")
        checks.equal(f"{label}: record", checks.log.texts(1503), ["host, denied"])
        client.close()
        checks.equal(f"{label}: end", daemon.end(), 1)


def check_limits(checks):
    for limit in (1, 2):
        daemon = start(f"probe: child-limit {limit}\n").ready()
        clients = [Client() for _ in range(limit)]
        checks.equal(f"limit {limit}: one more", refused(), True)
        checks.equal(f"limit {limit}: report", checks.log.texts(1500),
                     [f"deny use of proxy: too many active children (limit {limit})"])
        full = [f"{limit} of {limit} copies currently active"]
        checks.equal(f"limit {limit}: count", daemon.counts(checks.log), full)
        clients.pop().close()
        checks.eventually(f"limit {limit}: count after an end",
                          lambda: daemon.counts(checks.log),
                          [f"{limit - 1} of {limit} copies currently active"])
        clients.append(Client())
        checks.equal(f"limit {limit}: served again", clients[-1].state("name"), "probe")
        for client in clients:
            client.close()
        daemon.end()
    daemon = start("probe: child-limit -1\n").ready()
    clients = [Client() for _ in range(200)]
    for label in ("no limit", "asked again"):
        checks.equal(label, daemon.counts(checks.log), ["200 of -1 copies currently active"])
    for client in clients:
        client.close()
    daemon.end()


def check_client_limits(checks):
    """So many from one address, and so many a second; what is refused counts for neither."""
    daemon = start("probe: address-limit 2\nprobe: accept-count 1\n").ready()
    text = ["deny use of proxy: too many connections from 127.0.0.1 (limit 2)"]
    clients = [Client(), Client()]
    checks.equal("third of an address", refused(), True)
    checks.equal("report", checks.log.texts(1500), text)
    with connect(PORT, source="127.0.0.2") as other:
        checks.equal("another address", other.recv(5), b"name=")
    clients.pop().close()
    wait_until(lambda: len(children(daemon.pid)) == 1)
    clients.append(Client())
    checks.equal("served again", clients[-1].state("name"), "probe")
    checks.equal("count", daemon.counts(checks.log), ["2 of 0 copies currently active"])
    for client in clients:
        client.close()
    checks.equal("end", daemon.end(), 1)
    checks.log.clear()
    daemon = start("probe: rate-limit 5\n").ready()
    clients = [connect(PORT) for _ in range(8)]
    checks.equal("eight in a second", [client.recv(5) for client in clients],
                 [b"name="] * 5 + [b""] * 3)
    for client in clients:
        client.close()
    checks.equal("reports", checks.log.texts(1500, 3),
                 ["deny use of proxy: too many connections a second (limit 5)"] * 3)
    time.sleep(1)
    Client().close()
    checks.equal("end", daemon.end(), 1)


def check_reload(checks):
    daemon = start("probe: timeout 1\nprobe: child-limit 1\n").ready()
    first = Client()
    checks.equal("first", first.state("timeout"), "1")
    first.close()
    wait_until(lambda: not children(daemon.pid))
    proxy_host.write_table("probe: timeout 2\nprobe: child-limit 3\n", 2000)
    second = Client()
    third = Client()
    checks.equal("second", second.state("timeout"), "2")
    checks.equal("new limit", third.state("child-limit"), "3")
    proxy_host.write_table("other: timeout 3\n", 3000)
    fourth = Client()
    checks.equal("a bad table changes nothing", fourth.state("timeout"), "2")
    checks.equal("and is reported", checks.log.texts(11502),
                 ["Error reading proxy configuration file for update."])
    for client in (second, third, fourth):
        client.close()
    daemon.end()


def check_killed_children(checks):
    """Children that end together while the daemon is stopped are all collected."""
    daemon = start().ready()
    clients = [Client() for _ in range(20)]
    pids = children(daemon.pid)
    checks.equal("children", len(pids), 20)
    daemon.send(signal.SIGSTOP)
    for pid in pids:
        os.kill(pid, signal.SIGKILL)
    wait_until(lambda: len(proxy_host.zombies(daemon.pid)) == 20)
    daemon.send(signal.SIGCONT)
    checks.eventually("collected", lambda: children(daemon.pid), [])
    checks.equal("count", daemon.counts(checks.log), ["0 of 0 copies currently active"])
    for client in clients:
        client.socket.close()

    proxy_host.write_table(TABLE + "probe: logging both\n", 2000)
    checks.log.clear()
    client = Client()
    checks.syslog.datagrams()
    child = children(daemon.pid)[0]
    os.kill(child, signal.SIGUSR1)
    checks.equal("a child's counts", checks.log.texts(10002), ["1 of 0 copies currently active"])
    os.kill(child, signal.SIGTERM)
    checks.equal("a child's end", read_all(client.socket), b"")
    checks.equal("its report", checks.log.texts(10009), ["caught TERM signal"])
    checks.equal("who reports", {record.pid for record in checks.log.records()}, {child})
    checks.equal("in the system log", checks.syslog.lines(),
                 [(29, "probe", "1 of 0 copies currently active"),
                  (29, "probe", "caught TERM signal")])
    checks.eventually("no child left", lambda: children(daemon.pid), [])
    checks.equal("count again", daemon.counts(checks.log), ["0 of 0 copies currently active"])
    checks.equal("end", daemon.end(), 1)


def check_acceptors(checks):
    daemon = start("probe: accept-count 4\n").ready()
    checks.eventually("accepting processes", lambda: len(children(daemon.pid)), 3)
    others = children(daemon.pid)
    locks = {link for pid in [daemon.pid, *others] for link in descriptors(pid).values()
             if "lock" in link}
    checks.equal("one lock, without a name", [link.endswith("(deleted)") for link in locks], [True])
    checks.equal("nothing left in /usr/tmp", os.listdir("/usr/tmp"), [])
    clients = [Client() for _ in range(40)]
    checks.equal("all served", {client.state("name") for client in clients}, {"probe"})

    def counts():
        checks.log.clear()
        for pid in [daemon.pid, *others]:
            os.kill(pid, signal.SIGUSR1)
        return sum(int(text.split()[0]) for text in checks.log.texts(10002, 1 + len(others)))

    checks.equal("counts of all", counts(), 40)
    for client in clients:
        client.close()
    checks.eventually("counts after the end", counts, 0)
    killed = others.pop()
    os.kill(killed, signal.SIGKILL)
    checks.eventually("one less", lambda: len(children(daemon.pid)), 2)
    checks.equal("which is no connection", daemon.counts(checks.log),
                 ["0 of 0 copies currently active"])
    for _ in range(20):
        Client().close()
    checks.eventually("counts of the rest", counts, 0)
    checks.equal("the first ends", daemon.end(), 1)


def check_lock_names(checks):
    """Without a place for the lock the processes run without it."""
    os.rename("/usr/tmp", "/usr/tmp.away")
    daemon = start("probe: accept-count 2\n").ready()
    checks.equal("no folder", checks.log.texts(13510),
                 [f"syserr: can't create lock file /usr/tmp/{PORT}lock.XXXXXX: "
                  "No such file or directory"])
    checks.equal("no name", checks.log.texts(13500), ["syserr: can't create lock file"])
    for _ in range(10):
        Client().close()
    daemon.end()
    os.rename("/usr/tmp.away", "/usr/tmp")


def check_no_descriptors(checks):
    """Without a free descriptor the connection is closed and the daemon waits on."""
    daemon = start().ready()
    usual = resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE)
    most = max(descriptors(daemon.pid)) + 1
    resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE, (most, usual[1]))
    Client().close()  # the wait for it began before the limit
    for _ in range(3):
        checks.equal("closed", refused(), True)
    checks.equal("reports", checks.log.texts(6505, 4), ["Accept failed, Too many open files"] * 4)
    time.sleep(0.2)
    checks.equal("no more of them", len(checks.log.texts(6505)), 4)
    checks.equal("counts", daemon.counts(checks.log), ["0 of 0 copies currently active"])
    resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE, usual)
    client = Client()
    checks.equal("served again", client.state("name"), "probe")
    client.close()
    checks.equal("end", daemon.end(), 1)


def check_taken_port(checks):
    """The wait between two attempts is shortened by a shim, which tells how long it was to be."""
    if len(sys.argv) < 3:
        return
    with socket.socket() as owner:
        owner.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        owner.bind(("127.0.0.1", PORT))
        owner.listen()
        path = "/var/run/slept"
        environment = {**os.environ, "LD_PRELOAD": sys.argv[2], "SLEEP_LOG": path,
                       "ASAN_OPTIONS": "verify_asan_link_order=0"}
        daemon = start(env=environment)
        checks.equal("two attempts", checks.log.texts(10002, 2)[:2], ["sleeping for 2 minutes"] * 2)
    checks.equal("ready", checks.log.texts(6000), [f"Now ready on port {PORT}"])
    checks.equal("failure", set(checks.log.texts(6503)),
                 {f"Failed to bind port {PORT}, Address already in use"})
    with open(path, encoding="ascii") as file:
        checks.equal("waits in seconds", set(file.read().split()), {"120"})
    client = Client()
    checks.equal("served", client.state("name"), "probe")
    client.close()
    checks.equal("end", daemon.end(), 1)


def main():
    proxy_host.enter_with_network()
    return proxy_host.Checks(is_log_taken_at_once=True).run(
        (check_start_and_end, check_bad_ports, check_pid_file, check_descriptors, check_limits,
         check_client_limits, check_reload, check_killed_children, check_acceptors,
         check_lock_names, check_no_descriptors, check_taken_port))


if __name__ == "__main__":
    sys.exit(main())
