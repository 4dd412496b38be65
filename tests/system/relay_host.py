"""A host for daemons, on top of proxy_host: its own network with a loopback, /usr/tmp and /var/run;
daemons and their clients as objects; and the records of the standard log with all their fields."""

import collections
import os
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import proxy_host

PATIENCE_S = 30

Record = collections.namedtuple("Record", "event line proxy text pid source destination rule label")


def enter():
    """Starts the calling script again inside the host, once, as the process to which all orphans
    go: so it learns how daemons end, and none outlives it."""
    proxy_host.enter("-n", "-p", "-f", "--mount-proc", "--kill-child")
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    _mount_usr_tmp()
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", os.path.realpath("/var/run")], check=True)


def _mount_usr_tmp():
    """An /usr with all that it had, and a tmp that is writable."""
    usr = tempfile.mkdtemp()
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", usr], check=True)
    for entry in os.scandir("/usr"):
        path = f"{usr}/{entry.name}"
        if entry.is_symlink():
            os.symlink(os.readlink(entry.path), path)
        elif entry.is_dir():
            os.mkdir(path)
            subprocess.run(["mount", "--rbind", entry.path, path], check=True)
    os.makedirs(f"{usr}/tmp", exist_ok=True)
    subprocess.run(["mount", "--rbind", usr, "/usr"], check=True)


def wait_until(condition, patience_s=PATIENCE_S):
    """The first true value of `condition`, or its last one when the time is over."""
    end = time.monotonic() + patience_s
    while not (value := condition()) and time.monotonic() < end:
        time.sleep(0.01)
    return value


class Log(proxy_host.Receiver):
    """The standard log, taken by a thread at once so that no sender waits."""

    def __init__(self):
        super().__init__("/dev/stdlog")
        self.records = []
        threading.Thread(target=self._take, daemon=True).start()

    def _take(self):
        while True:
            self.records.append(_full_record(self.socket.recv(65536)))

    def clear(self):
        self.records.clear()

    def events(self):
        return [record.event for record in list(self.records)]

    def texts(self, event, count=1):
        """Texts of the records of `event`, once there are `count`."""
        def found():
            return [record.text for record in list(self.records) if record.event == event]
        wait_until(lambda: len(found()) >= count)
        return found()


def _full_record(datagram):
    event, line, proxy, text = proxy_host._record(datagram)

    def port(offset):
        return int.from_bytes(datagram[offset:offset + 2], sys.byteorder)

    def field(offset, size):
        return datagram[offset:offset + size].split(b"\0")[0].decode("latin-1")

    return Record(event, line, proxy, text, int.from_bytes(datagram[44:48], sys.byteorder),
                  (field(88, 16), port(36)), (field(104, 16), port(38)),
                  field(523, 64), field(587, 64))


class Checks:
    """Compares, and goes on behind a failure."""

    def __init__(self):
        self.failures = 0
        self.log = Log()
        self.syslog = proxy_host.SystemLog()

    def equal(self, label, got, want):
        if got == want:
            return
        self.failures += 1
        print(f"{label}\n   got {got!r}\nwanted {want!r}", flush=True)

    def eventually(self, label, call, want):
        wait_until(lambda: call() == want)
        self.equal(label, call(), want)

    def run(self, checks):
        for check in checks:
            begun = time.monotonic()
            self.log.clear()
            check(self)
            # A log that nobody reads would hold the daemons up.
            self.syslog.datagrams()
            print(f"{check.__name__}: {time.monotonic() - begun:.1f} s", flush=True)
        print(f"{self.failures} failures")
        return 1 if self.failures else 0


class Daemon:
    """A daemon, from its start to its end."""

    def __init__(self, program, port, *arguments, name="probe", **popen):
        self.port = port
        self.started = subprocess.run([name, *arguments, "-daemon", str(port)], check=False,
                                      executable=program, timeout=PATIENCE_S, **popen).returncode
        orphans = children(os.getpid())
        self.pid = orphans[-1] if orphans else 0

    def ready(self):
        """Waits until it has its handlers, the last thing that it does before it serves."""
        wait_until(lambda: handles(self.pid, signal.SIGUSR1))
        return self

    def send(self, number):
        os.kill(self.pid, number)

    def counts(self, log):
        """What the daemon reports of its children, asked until it answers."""
        log.clear()
        self.send(signal.SIGUSR1)
        return log.texts(10002)

    def end(self, number=signal.SIGTERM):
        """The status with which it ends; its children are killed."""
        left = children(self.pid)
        self.send(number)
        for pid in left:
            os.kill(pid, signal.SIGKILL)
        status = status_of(self.pid)
        for pid in left:
            status_of(pid)
        return status


def pid_text(port):
    try:
        with open(f"/var/run/proxy.{port}.pid", encoding="ascii") as file:
            return file.read()
    except OSError:
        return ""


def handles(pid, number):
    with open(f"/proc/{pid}/status", encoding="latin-1") as file:
        caught = next(line for line in file if line.startswith("SigCgt:"))
    return int(caught.split()[1], 16) >> (number - 1) & 1


def children(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
        return [int(child) for child in file.read().split()]


def zombies(pid):
    return [child for child in children(pid) if state(child) == "Z"]


def state(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="latin-1") as file:
            return file.read().rsplit(")", 1)[1].split()[0]
    except OSError:
        return ""


def status_of(pid):
    """How a daemon or an orphan of one ended; None for somebody else's child."""
    def ended():
        try:
            found, status = os.waitpid(pid, os.WNOHANG)
        except ChildProcessError:
            return (None,)  # its parent was quicker
        return (os.waitstatus_to_exitcode(status),) if found else None
    status = wait_until(ended)
    return status[0] if status else "running"


def descriptors(pid):
    return {int(fd): os.readlink(f"/proc/{pid}/fd/{fd}") for fd in os.listdir(f"/proc/{pid}/fd")}


def connect(port, address="127.0.0.1", source=None):
    client = socket.create_connection((address, port), timeout=PATIENCE_S,
                                      source_address=(source, 0) if source else None)
    client.settimeout(PATIENCE_S)
    return client


def read_all(client):
    """All that comes up to the end; a reset is an end."""
    parts = []
    try:
        while part := client.recv(65536):
            parts.append(part)
    except ConnectionResetError:
        pass
    return b"".join(parts)
