"""A host of its own for proxies: a mount namespace with an empty /usr/local/etc and a private /dev,
in which both logs are received; for daemons also a network with a loopback, /usr/tmp and /var/run,
and daemons and their clients as objects."""

import collections
import contextlib
import os
import re
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import kit
from kit import PATIENCE_S, call, wait_until

TABLE = "/usr/local/etc/netperm-table"
RECORD_SIZE = 1680

Record = collections.namedtuple("Record", "event line proxy text pid source destination rule label")


def enter(*options):
    """Starts the calling script again inside the host, once."""
    kit.enter(*options)
    os.environ["KORVWSS"] = "/nonexistent"
    call("mount", "-t", "tmpfs", "tmpfs", "/usr/local/etc")
    dev = tempfile.mkdtemp()
    call("mount", "-t", "tmpfs", "tmpfs", dev)
    for name in ("null", "zero", "random", "urandom"):
        open(f"{dev}/{name}", "w").close()
        call("mount", "--bind", f"/dev/{name}", f"{dev}/{name}")
    call("mount", "--rbind", dev, "/dev")


def enter_with_network():
    """As enter, as the process to which all orphans go: so it learns how daemons end, and none
    outlives it."""
    enter("-n", "-p", "-f", "--mount-proc", "--kill-child")
    call("ip", "link", "set", "lo", "up")
    _mount_usr_tmp()
    call("mount", "-t", "tmpfs", "tmpfs", os.path.realpath("/var/run"))


def _mount_usr_tmp():
    """An /usr with all that it had, and a tmp that is writable."""
    usr = tempfile.mkdtemp()
    call("mount", "-t", "tmpfs", "tmpfs", usr)
    for entry in os.scandir("/usr"):
        path = f"{usr}/{entry.name}"
        if entry.is_symlink():
            os.symlink(os.readlink(entry.path), path)
        elif entry.is_dir():
            os.mkdir(path)
            call("mount", "--rbind", entry.path, path)
    os.makedirs(f"{usr}/tmp", exist_ok=True)
    call("mount", "--rbind", usr, "/usr")


def write_table(text, time_s=None):
    with open(TABLE, "w", encoding="latin-1") as table:
        table.write(text)
    if time_s is not None:
        os.utime(TABLE, (time_s, time_s))


class Receiver:
    """Takes the datagrams of one log path."""

    def __init__(self, path):
        self.path = path
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(path)

    def close(self):
        self.socket.close()
        os.unlink(self.path)

    def datagrams(self):
        """What has come since the last call."""
        found = []
        while select.select([self.socket], [], [], 0)[0]:
            found.append(self.socket.recv(65536))
        return found


class SystemLog(Receiver):
    def __init__(self):
        super().__init__("/dev/log")

    def lines(self):
        return [line_of(datagram) for datagram in self.datagrams()]


def line_of(datagram):
    """(priority, ident, text) of a line of the system log."""
    match = re.match(rb"<(\d+)>[A-Z][a-z]{2} [ 1-3]\d \d\d:\d\d:\d\d ([^\[:]*)(?:\[\d+\])?: (.*)", datagram, re.S)
    return int(match[1]), match[2].decode("latin-1"), match[3].decode("latin-1")


class UnreadLog(Receiver):
    """Stands in for the reader of a log path until it is closed, and is full from the start."""

    def __init__(self, path):
        os.rename(path, path + ".away")
        super().__init__(path)
        self.fill()

    def fill(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.setblocking(False)
            with contextlib.suppress(BlockingIOError):
                while True:
                    sender.sendto(b"full", self.path)

    def close(self):
        super().close()
        os.rename(self.path + ".away", self.path)


class StandardLog(Receiver):
    """The standard log; taken by a thread at once, so that no sender waits, when that is told."""

    def __init__(self, is_taken_at_once=False):
        super().__init__("/dev/stdlog")
        self.taken = [] if is_taken_at_once else None
        self.marks_seen = threading.Semaphore(0)
        self.marker = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.marker.connect(self.path)
        if is_taken_at_once:
            threading.Thread(target=self._take, daemon=True).start()

    def _take(self):
        while True:
            datagram = self.socket.recv(65536)
            if datagram == b"mark":
                self.marks_seen.release()
            else:
                self.taken.append(record_of(datagram))

    def records(self):
        """What was taken and not cleared; without a thread, what has come since the last call."""
        if self.taken is None:
            return [record_of(datagram) for datagram in self.datagrams()]
        return list(self.taken)

    def clear(self):
        """Drops what was sent until now."""
        if self.taken is not None:
            self.marker.send(b"mark")
            self.marks_seen.acquire()
            self.taken.clear()

    def texts(self, event, count=1):
        """Texts of the taken records of `event`, once there are `count`."""
        def found():
            return [record.text for record in self.records() if record.event == event]
        wait_until(lambda: len(found()) >= count)
        return found()


def record_of(datagram):
    """The fields of a record, its text unescaped."""
    assert len(datagram) == RECORD_SIZE, len(datagram)

    def number(offset, size=4):
        return int.from_bytes(datagram[offset:offset + size], sys.byteorder)

    def text(offset, size):
        return datagram[offset:offset + size].split(b"\0")[0].decode("latin-1")

    assert number(0) == RECORD_SIZE and number(4) == 1
    message = re.sub("%([0-9A-F]{2})", lambda m: chr(int(m[1], 16)), text(656, 1024))
    return Record(number(8), number(80), text(120, 41), message, number(44),
                  (text(88, 16), number(36, 2)), (text(104, 16), number(38, 2)),
                  text(523, 64), text(587, 64))


class Comparison:
    """Compares, and goes on after a failure."""

    failures = 0

    def equal(self, label, got, want):
        if got == want:
            return
        self.failures += 1
        print(f"{label}\n   got {got!r}\nwanted {want!r}", flush=True)

    def result(self):
        print(f"{self.failures} failures")
        return 1 if self.failures else 0


class Checks(Comparison):
    """Checks of proxies, whose logs it takes."""

    def __init__(self, is_log_taken_at_once=False):
        self.log = StandardLog(is_log_taken_at_once)
        self.syslog = SystemLog()

    def eventually(self, label, call, want):
        wait_until(lambda: call() == want)
        self.equal(label, call(), want)

    def run(self, checks):
        for check in checks:
            begun = time.monotonic()
            self.log.clear()
            check(self)
            # A log without a reader would delay the daemons.
            self.syslog.datagrams()
            print(f"{check.__name__}: {time.monotonic() - begun:.1f} s", flush=True)
        return self.result()


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
            with contextlib.suppress(ProcessLookupError):  # it ended on its own
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
    """How a daemon or an orphan of one ended; None for a child of another process."""
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
