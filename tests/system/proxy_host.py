"""A host of its own for proxies: a mount namespace with an empty /usr/local/etc and a private
/dev, in which both logs are received. Needs root; without it a test is skipped (status 77)."""

import os
import re
import select
import socket
import subprocess
import sys
import tempfile

SKIPPED = 77
TABLE = "/usr/local/etc/netperm-table"
RECORD_SIZE = 1680


def enter(*namespaces):
    """Starts the calling script again inside the namespace, once; in more than the mount namespace
    with other options of unshare."""
    if os.environ.get("PROXY_HOST") == "inside":
        _mount()
        return
    os.environ["PROXY_HOST"] = "inside"
    os.environ["KORVWSS"] = "/nonexistent"
    unshare = ["unshare", "-m", *namespaces]
    if os.geteuid() != 0 or subprocess.run([*unshare, "true"], check=False).returncode:
        print("skipped: needs root and namespaces")
        sys.exit(SKIPPED)
    os.execvp("unshare", [*unshare, sys.executable] + sys.argv)


def _mount():
    def run(*command):
        subprocess.run(command, check=True)

    run("mount", "-t", "tmpfs", "tmpfs", "/usr/local/etc")
    dev = tempfile.mkdtemp()
    run("mount", "-t", "tmpfs", "tmpfs", dev)
    for name in ("null", "zero", "random", "urandom"):
        open(f"{dev}/{name}", "w").close()
        run("mount", "--bind", f"/dev/{name}", f"{dev}/{name}")
    run("mount", "--rbind", dev, "/dev")


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
        """(priority, ident, text) of each line."""
        found = []
        for datagram in self.datagrams():
            match = re.match(rb"<(\d+)>.{15} ([^\[:]*)(?:\[\d+\])?: (.*)", datagram, re.S)
            ident, text = match[2].decode("latin-1"), match[3].decode("latin-1")
            found.append((int(match[1]), ident, text))
        return found


class StandardLog(Receiver):
    def __init__(self):
        super().__init__("/dev/stdlog")

    def records(self):
        """(event, line, proxy, text) of each record, the text unescaped."""
        return [_record(datagram) for datagram in self.datagrams()]


def _record(datagram):
    assert len(datagram) == RECORD_SIZE, len(datagram)

    def number(offset):
        return int.from_bytes(datagram[offset:offset + 4], sys.byteorder)

    def text(offset, size):
        return datagram[offset:offset + size].split(b"\0")[0].decode("latin-1")

    assert number(0) == RECORD_SIZE and number(4) == 1
    message = re.sub("%([0-9A-F]{2})", lambda m: chr(int(m[1], 16)), text(656, 1024))
    return number(8), number(80), text(120, 41), message
