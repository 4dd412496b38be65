#!/usr/bin/env python3
"""Walks through the example form as a person does, in a terminal of tmux.

form_walk.py PROGRAM README: the pictures are the README's, so that it shows what is true.
"""

import os
import subprocess
import sys
import tempfile

import kit

INTERRUPTED = ["rule-form: interrupted, nothing saved"]
# What the shell adds when a program died of a signal, by its exit status.
SHELL_SAYS = {130: [""], 143: ["Terminated"], 129: ["Hangup"]}
DOWN, TAB, ENTER, CLEAR = "Down", "Tab", "Enter", "C-u"


class Terminal:
    """A shell in a terminal of its own; `$ ` is its prompt."""

    def __init__(self, folder):
        self.socket = os.path.join(folder, "tmux")
        shell = ["env", "-i", "PATH=" + os.environ["PATH"], "TERM=screen", "PS1=$ ", "sh"]
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", "80", "-y", "24", *shell)
        self.wait("a prompt", lambda rows: rows[-1:] == ["$"])

    def tmux(self, *words):
        done = subprocess.run(["tmux", "-S", self.socket, *words], check=True,
                              capture_output=True, text=True)
        return done.stdout

    def press(self, *keys):
        self.tmux("send-keys", *keys)

    def type(self, text):
        self.tmux("send-keys", "-l", text)

    def resize(self, rows, columns):
        self.tmux("resize-window", "-x", str(columns), "-y", str(rows))
        tty = self.tmux("display-message", "-p", "#{pane_tty}").strip()
        # tmux takes its time to tell the terminal.
        self.wait("new size", lambda _: subprocess.run(
            ["stty", "-F", tty, "size"], check=True, capture_output=True,
            text=True).stdout.split() == [str(rows), str(columns)])

    def rows(self):
        rows = [row.rstrip() for row in self.tmux("capture-pane", "-p").split("\n")]
        while rows and not rows[-1]:
            rows.pop()
        return rows

    def cursor(self):
        place = self.tmux("display-message", "-p", "#{cursor_y} #{cursor_x}")
        return tuple(int(number) for number in place.split())

    def wait(self, what, seen):
        if not kit.wait_until(lambda: seen(self.rows())):
            sys.exit("no %s, but:\n%s" % (what, "\n".join(self.rows())))

    def shows(self, what, rows, cursor=None):
        self.wait("%s:\n%s\n" % (what, "\n".join(rows)), lambda now: now == rows)
        if cursor:
            self.wait("%s with the cursor at %s" % (what, cursor),
                      lambda _: self.cursor() == cursor)

    def has(self, row):
        self.wait("row " + repr(row), lambda now: row in now)

    def run(self, line):
        self.type("status=$?; clear; " + line)
        self.press(ENTER)

    def ended(self, printed, status):
        """The program has printed this and ended so, and the terminal's modes are as before it."""
        self.shows("the program's end", printed + ["$"])
        self.run('echo left $status; [ "$modes" = "$(stty -g)" ] && echo same modes')
        self.shows("its status", ["left %d" % status, "same modes", "$"])


def pictures(readme):
    return [text.rstrip("\n").split("\n")
            for kind, text in kit.readme_blocks(readme) if kind == "text"]


def fill(terminal):
    """From the first picture to the second."""
    for keys in (["web-in", TAB], [CLEAR, "10.20.0.0/16", TAB], ["gatekeeper", TAB],
                 [DOWN, DOWN, DOWN, TAB], [DOWN, TAB]):
        terminal.press(*keys)
    terminal.has("  Matching traffic is refused.")
    terminal.press(DOWN, ENTER, TAB, "log.example", TAB)


def walk_to_saved(terminal, start, filled, printed):
    terminal.shows("the form", start, (2, 14))
    fill(terminal)
    terminal.shows("the filled form", filled, (11, 14 + len("[ Save ]")))
    terminal.press(ENTER)
    terminal.ended(printed, 0)


def walk_with_faults(terminal, start):
    terminal.shows("the form", start)
    terminal.press("a b", TAB)
    terminal.has("  The name takes letters, digits and dashes.")
    terminal.press(*[TAB] * 6, ENTER)  # Save refuses, the form stays
    terminal.press("C-l", TAB, ENTER)
    terminal.ended(["cancelled, nothing saved"], 1)


def walk_in_a_small_window(terminal, start):
    terminal.shows("the form", start)
    terminal.press("x")
    terminal.resize(10, 50)
    small = [row[:50].rstrip() for row in start[:10]]
    small[2] = small[2].replace("Name         ", "Name        x")
    terminal.shows("what fits, at once", small, (2, 15))
    terminal.resize(24, 80)
    terminal.press("C-h")
    terminal.shows("the form again", start, (2, 14))
    terminal.press("C-c")
    terminal.ended(INTERRUPTED + SHELL_SAYS[130], 130)


def walk_to_signal(terminal, start, pid_file, name, status):
    terminal.shows("the form", start)
    if name == "Ctrl-C":
        terminal.press("C-c")
    else:
        with open(pid_file, encoding="ascii") as file:
            subprocess.run(["kill", "-" + name, file.read().strip()], check=True)
    terminal.ended(INTERRUPTED + SHELL_SAYS[status], status)


def main():
    program, readme = os.path.abspath(sys.argv[1]), sys.argv[2]
    start, filled, printed = pictures(readme)
    with tempfile.TemporaryDirectory() as folder:
        pid_file = os.path.join(folder, "pid")
        form = "modes=$(stty -g); sh -c 'echo $$ >%s; exec %s'" % (pid_file, program)
        terminal = Terminal(folder)
        try:
            terminal.run(form)
            walk_to_saved(terminal, start, filled, printed)
            terminal.run(form)
            walk_with_faults(terminal, start)
            terminal.run(form)
            walk_in_a_small_window(terminal, start)
            for name, status in (("Ctrl-C", 130), ("TERM", 143), ("HUP", 129)):
                terminal.run(form)
                walk_to_signal(terminal, start, pid_file, name, status)
            terminal.resize(14, 76)
            terminal.run(form)
            terminal.ended(["rule-form: the terminal has 14 rows of 76 columns, the form needs 15 of 76"], 2)
            terminal.resize(24, 80)
            terminal.run(program + " </dev/null")
            terminal.ended(["rule-form: needs a terminal to run on"], 2)
        finally:
            terminal.tmux("kill-server")


if __name__ == "__main__":
    main()
