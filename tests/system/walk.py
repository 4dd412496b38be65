#!/usr/bin/env python3
"""Takes a walk of a README: gives its commands to one shell, block by block, as a newcomer does, and
compares what each block prints with the text below it.
walk.py README BUILD_DIR"""

import os
import re
import subprocess
import sys

import kit
import proxy_host

# What is another at each run: times, process numbers, ports that the host chooses.
CHANGING = ((r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "TIME"), (r"\[\d+\]", "[PID]"),
            (r"(\d\.\d+\.\d+\.\d+):\d{5}->", r"\1:PORT->"), (r"\r", ""))


def blocks(readme):
    """Pairs of commands and the text that they must print; None where nothing is shown."""
    walk = []
    for kind, text in kit.readme_blocks(readme):
        if kind == "sh":
            walk.append([text, None])
        elif kind == "text" and walk:
            walk[-1][1] = text
    return walk


def same(text):
    for pattern, word in CHANGING:
        text = re.sub(pattern, word, text)
    return text


def main():
    readme, build = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    proxy_host.enter_with_network()
    environment = {key: value for key, value in os.environ.items() if key != "KORVWSS"}
    shell = subprocess.Popen(["bash"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                             cwd=os.path.join(os.path.dirname(readme), "../.."), env=environment)
    compared = proxy_host.Comparison()
    for number, (commands, wanted) in enumerate(blocks(readme), 1):
        shell.stdin.write(commands.replace("build/release", build) + f"\necho; echo end {number}\n")
        shell.stdin.flush()
        printed = ""
        while not printed.endswith(f"\nend {number}\n") and (line := shell.stdout.readline()):
            printed += line
        printed = printed.removesuffix(f"\nend {number}\n")
        if wanted is not None:
            compared.equal(f"block {number}\n{commands}", same(printed), same(wanted))
    shell.stdin.close()
    compared.equal("the shell's end", shell.wait(timeout=proxy_host.PATIENCE_S), 0)
    return compared.result()


if __name__ == "__main__":
    sys.exit(main())
