"""The reader of the log, fed with good and bad datagrams and with a real proxy's.
log_reader.py STDLOG PROBE"""

import os
import signal
import socket
import struct
import subprocess
import sys
import tempfile

import proxy_host
from proxy_host import wait_until

# Offset and size of the texts, in the order of the record.
TEXTS = {"connection_id": (48, 32), "src_ip": (88, 16), "dst_ip": (104, 16),
         "proxy_name": (120, 41), "user": (161, 21), "rule_number": (523, 64), "text": (656, 1024)}


def record(size=1680, version=1, time=1000000000, priority=5, event=1503, ports=(1, 2), pid=42,
           **texts):
    data = bytearray(1680)
    struct.pack_into("=5i", data, 0, size, version, event, 2, time)
    struct.pack_into("=i", data, 20, priority)
    struct.pack_into("=2H", data, 36, *ports)
    struct.pack_into("=i", data, 44, pid)
    for name, text in texts.items():
        offset, room = TEXTS[name]
        data[offset:offset + len(text[:room])] = text[:room]
    return bytes(data)


STAMP = "2001-09-09 01:46:40"
GOOD = (
    (record(proxy_name=b"relay", text=b"plain"), f"{STAMP} notice 1503 relay[42]: plain"),
    (record(proxy_name=b"relay", connection_id=b"c7", user=b"a%2Cb", src_ip=b"10.0.0.1",
            dst_ip=b"10.0.0.2", rule_number=b"12", text=b"x", ports=(65535, 80), priority=3),
     f"{STAMP} error 1503 relay[42] id=c7 user=a,b 10.0.0.1:65535->10.0.0.2:80 rule=12: x"),
    (record(text=b"a%0Ab%1B[2J%25%2C%", priority=8),
     f"{STAMP} 8 1503 [42]: a\\x0Ab\\x1B[2J%,%"),
    (record(text=b"%zz %4 %+1 %\\ \x1b\xff", rule_number=b"N/A", priority=-1),
     f"{STAMP} -1 1503 [42]: %zz %4 %+1 %\\\\ \\x1B\\xFF"),
    (record(**{name: b"f" * 2000 for name in TEXTS}, time=0),
     f"1970-01-01 00:00:00 notice 1503 {'f' * 41}[42] id={'f' * 32} user={'f' * 21} "
     f"{'f' * 16}:1->{'f' * 16}:2 rule={'f' * 64}: {'f' * 1024}"),
)
BAD = (b"", b"x", record()[:-1], record() + b"x", record() * 3, record(size=1679),
       record(version=2), b"\xff" * 1680)


class Reader:
    def __init__(self, *arguments):
        self.process = subprocess.Popen([sys.argv[1], *arguments], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env={**os.environ, "TZ": "UTC"})

    def line(self):
        return self.process.stdout.readline().rstrip("\n")

    def end(self, number=signal.SIGTERM):
        """Status and error stream, and what was printed and not read yet."""
        self.process.send_signal(number)
        printed, errors = self.process.communicate(timeout=60)
        return self.process.returncode, printed, errors


def check_datagrams(equal, path):
    reader = Reader(path)
    wait_until(lambda: os.path.exists(path))
    sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    for data, _ in GOOD:
        sender.sendto(data, path)
    for data in BAD:
        sender.sendto(data, path)
    sender.sendto(GOOD[0][0], path)
    for _, line in GOOD + GOOD[:1]:
        equal("line", reader.line(), line)
    status, printed, errors = reader.end()
    equal("status", status, 0)
    equal("nothing else printed", printed, "")
    reports = [f"stdlog: datagram of {len(data)} bytes is no record ({count} so far)"
               for count, data in enumerate(BAD, 1)]
    equal("error stream", errors.splitlines(),
          reports + [f"stdlog: {len(GOOD) + 1} records, {len(BAD)} bad datagrams"])
    equal("path is gone", os.path.exists(path), False)


def check_path(equal, path):
    first = Reader(path)
    wait_until(lambda: os.path.exists(path))
    equal("a living reader keeps its path", Reader(path).process.wait(timeout=60), 1)
    first.process.kill()
    first.process.communicate()
    equal("a dead one leaves it, open to all", os.stat(path).st_mode & 0o222, 0o222)
    second = Reader(path)
    sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    wait_until(lambda: sender.connect_ex(path) == 0)  # the dead one's path stands until then
    sender.send(GOOD[0][0])
    equal("taken over", second.line(), GOOD[0][1])
    equal("interrupted", second.end(signal.SIGINT)[0], 0)
    with open(path, "w", encoding="ascii") as file:
        file.write("keep")
    third = Reader(path)
    equal("a file is no socket", third.process.communicate(timeout=60)[1],
          f"stdlog: cannot bind {path}: Address already in use\n")
    with open(path, encoding="ascii") as file:
        equal("the file stays", file.read(), "keep")
    equal("too long", Reader("/" + "x" * 200).process.wait(timeout=60), 1)
    equal("too many", Reader("a", "b").process.wait(timeout=60), 1)


def check_proxy(equal):
    reader = Reader()
    wait_until(lambda: os.path.exists("/dev/stdlog"))
    proxy_host.write_table("probe: hosts  \n")
    subprocess.run(["probe", "plain.init"], executable=sys.argv[2], input="send\n", text=True,
                   stdout=subprocess.DEVNULL, check=True, timeout=60)
    lines = [reader.line().split(" ", 2)[2] for _ in range(2)]
    pid = lines[0].split("[")[1].split("]")[0]
    equal("a real proxy's lines", lines,
          [f"notice 11502 probe[{pid}]: cfgerr: hosts takes at least one argument, line 1",
           f"notice 1503 probe[{pid}]: host, denied"])
    equal("status", reader.end()[0], 0)


def main():
    proxy_host.enter()
    compared = proxy_host.Comparison()
    with tempfile.TemporaryDirectory() as folder:
        check_datagrams(compared.equal, folder + "/log")
        check_path(compared.equal, folder + "/log")
    check_proxy(compared.equal)
    return compared.result()


if __name__ == "__main__":
    sys.exit(main())
