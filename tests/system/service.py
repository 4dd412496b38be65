"""The daemon loop under a service manager, whose part the test plays: a socket handed over,
notices, and stops that let connections end.  service.py PROBE"""

import contextlib
import os
import signal
import socket
import subprocess
import sys
import time

import proxy_host
from proxy_host import children, connect, read_all, wait_until

PORT = 7010
NOTICES = "/var/run/notices"


def listener(family=socket.AF_INET, kind=socket.SOCK_STREAM, is_listening=True):
    """Does not block, as managers make them."""
    made = socket.socket(family, kind)
    made.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    made.setblocking(False)
    made.bind("\0local" if family == socket.AF_UNIX else ("", PORT))
    if is_listening:
        made.listen()
    return made


class Service:
    """A probe on descriptor 3, in the foreground; its command line names another port."""

    def __init__(self, table, handed, count=1, notices=NOTICES):
        proxy_host.write_table(table, 1000)
        script = (f"LISTEN_PID=$$ LISTEN_FDS={count} exec -a probe {sys.argv[1]} plain.init "
                  "-daemon 7001")
        self.process = subprocess.Popen(["bash", "-c", script], close_fds=False,
                                        preexec_fn=lambda: os.dup2(handed.fileno(), 3),
                                        env={**os.environ, "NOTIFY_SOCKET": notices})
        self.pid = self.process.pid

    def stop(self):
        self.process.send_signal(signal.SIGTERM)

    def status(self):
        with contextlib.suppress(subprocess.TimeoutExpired):
            return self.process.wait(timeout=proxy_host.PATIENCE_S)
        return "running"


def served():
    client = connect(PORT)
    while not client.recv(65536).endswith(b"done\n"):
        pass
    return client


def is_served(client):
    client.send(b"reload\n")
    return client.recv(100) == b"done\n"


def processes_left():
    return set(children(os.getpid())) - set(proxy_host.zombies(os.getpid()))


def check_service(checks):
    """Ready, served, stopped: an open connection ends when it likes, another waits for the next
    start of the service."""
    for name in (NOTICES, "@notices"):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notices, listener() as handed:
            notices.bind(name.replace("@", "\0"))
            notices.settimeout(proxy_host.PATIENCE_S)
            checks.log.clear()
            service = Service("probe: stop-timeout 20\nprobe: accept-count 3\n", handed, 1, name)
            checks.equal("ready", notices.recv(100), b"READY=1")
            checks.equal("port", checks.log.texts(10004),
                         [f"Starting daemon mode on port 7001({PORT})"])
            checks.equal("pid file", proxy_host.pid_text(7001) + proxy_host.pid_text(PORT), "")
            clients = [served() for _ in range(5)]
            service.stop()
            checks.equal("stopping", notices.recv(100), b"STOPPING=1\nEXTEND_TIMEOUT_USEC=24000000")
            wait_until(lambda: len(checks.log.texts(10009, 3)) == 3)
            late = connect(PORT)
            checks.equal("open connections", [is_served(client) for client in clients], [True] * 5)
            checks.equal("still there", service.process.poll(), None)
            for client in clients:
                client.close()
            checks.equal("status", service.status(), 0)
            checks.eventually("no process left", processes_left, set())
            again = Service("probe: timeout 1\n", handed, 1, name)
            notices.recv(100)
            checks.equal("who came too late is served now", late.recv(5), b"name=")
            late.close()
            again.stop()
            checks.equal("no time to stop", notices.recv(100),
                         b"STOPPING=1\nEXTEND_TIMEOUT_USEC=4000000")
            checks.equal("status", again.status(), 0)


def check_time_over(checks):
    """Connections whose time is over are ended, also one that does not react, and at a second
    signal at once. The daemon was started by hand."""
    for count, seconds, is_repeated, label in ((1, 1, False, "time over"),
                                               (1, 600, True, "second signal"),
                                               (3, 1, False, "time of all over"),
                                               (3, 600, True, "second signal to all")):
        checks.log.clear()
        proxy_host.write_table(
            f"probe: stop-timeout {seconds}\nprobe: accept-count {count}\n", 1000)
        daemon = proxy_host.Daemon(sys.argv[1], PORT, "plain.init").ready()
        wait_until(lambda: len(children(daemon.pid)) == count - 1)
        acceptors = [daemon.pid, *children(daemon.pid)]
        clients = [served() for _ in range(6)]
        connections = {child for pid in acceptors for child in children(pid)} - set(acceptors)
        os.kill(max(connections), signal.SIGSTOP)
        begun = time.monotonic()
        daemon.send(signal.SIGTERM)
        wait_until(lambda: len(checks.log.texts(10009, count)) == count)
        if is_repeated:
            daemon.send(signal.SIGTERM)
        checks.equal(f"{label}: clients", [read_all(client) for client in clients], [b""] * 6)
        checks.equal(f"{label}: status", proxy_host.status_of(daemon.pid), 0)
        checks.equal(f"{label}: seconds", round(time.monotonic() - begun),
                     2 if is_repeated else 2 + seconds)
        ending = sum(int(text.split()[2]) for text in checks.log.texts(10002)
                     if text.startswith("stopping: ending"))
        checks.equal(f"{label}: reported", ending, 6)
        checks.equal(f"{label}: left", processes_left(), set())


def check_bad_sockets(checks):
    text = "descriptor 3, no TCP listener over IPv4"
    tcp, udp = socket.SOCK_STREAM, socket.SOCK_DGRAM
    for label, made, count, what in (
            ("two", (), 2, "more than one socket"),
            ("does not listen", (socket.AF_INET, tcp, False), 1, text),
            ("datagrams", (socket.AF_INET, udp, False), 1, text),
            ("local", (socket.AF_UNIX,), 1, text),
            ("IPv6", (socket.AF_INET6,), 1, text)):
        with listener(*made) as handed:
            checks.log.clear()
            checks.equal(f"{label}: status", Service("probe: k 1\n", handed, count).status(), 1)
            checks.equal(f"{label}: report", checks.log.texts(6501),
                         [f"Failed to take over {what}"])
    os.environ.update(LISTEN_PID="1", LISTEN_FDS="1")
    proxy_host.write_table("probe: k 1\n", 1000)
    daemon = proxy_host.Daemon(sys.argv[1], PORT, "plain.init").ready()
    checks.equal("for another process: in the background", daemon.started, 0)
    served().close()
    checks.equal("and ends as ever", daemon.end(), 1)


def main():
    proxy_host.enter_with_network()
    return proxy_host.Checks(is_log_taken_at_once=True).run(
        (check_service, check_time_over, check_bad_sockets))


if __name__ == "__main__":
    sys.exit(main())
