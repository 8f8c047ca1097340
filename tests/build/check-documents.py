#!/usr/bin/env python3
"""The manual page and the completions name every command and option that the help names, and no
other, and the programs they are for take them without a warning. check-documents.py QELFTP FOLDER

FOLDER has qelftp.1, qelftp (for bash) and _qelftp (for zsh). Needs groff, bash and zsh.
"""
import os
import pathlib
import pty
import re
import select
import shlex
import subprocess
import sys
import tempfile
import time

qelftp, folder = sys.argv[1], pathlib.Path(sys.argv[2])
man, bash, zsh = folder / "qelftp.1", folder / "qelftp", folder / "_qelftp"
wrong = []


def run(*command, **options):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=60, **options)
    return done.returncode, done.stdout


def expect(what, actual, expected):
    if actual != expected:
        wrong.append(f"{what}:\n  expected {expected}\n  actual   {actual}")


def help_of(*command):
    code, text = run(qelftp, *command, "--help")
    expect(f"exit code of the help of {command}", code, 0)
    return text


def options_in(text):
    names = set()
    for line in text.splitlines():
        found = re.match(r"  (-[^ ]*)", line)
        if found:
            names.update(found[1].split(","))
    return names


def commands_in(text):
    block = re.search(r"\nCommands:\n((?:  .*\n)+)", text)
    return re.findall(r"^  (\S+)", block[1], re.MULTILINE) if block else []


common = options_in(help_of())
commands = {name: options_in(help_of(name)) for name in commands_in(help_of())}
if len(commands) < 8 or "--help" not in common:
    sys.exit(f"The help was not understood: commands {commands}, options {common}")

# ---- manual page ----

troff = man.read_text()
code, warnings = run("groff", "-man", "-ww", "-Tutf8", "-z", str(man))
expect("groff's warnings", (code, warnings), (0, ""))
plain = troff.replace("\\-", "-")
sections = dict(re.findall(r'^\.SS "qelftp (\S+) [^\n]*\n(.*?)(?=^\.S[SH])', plain,
                           re.MULTILINE | re.DOTALL))
options_section = re.search(r"^\.SH OPTIONS\n(.*?)(?=^\.SH)", plain, re.MULTILINE | re.DOTALL)


def options_of_man(text):
    return {name.split()[0] for line in re.findall(r"^\.TP\n(.*)$", text, re.MULTILINE)
            for name in re.findall(r"\\fB(.*?)\\fR", line)}


expect("commands of the manual page", list(sections), list(commands))
expect("common options of the manual page", options_of_man(options_section[1]), common)
for name, options in commands.items():
    expect(f"options of {name} in the manual page", options_of_man(sections.get(name, "")),
           options - common)
for variable in sorted(set(re.findall(r"\b(?:QEL[A-Z]*_[A-Z_]+|NO_COLOR)\b", help_of()))):
    if f".B {variable}\n" not in plain:
        wrong.append(f"{variable} is in the help and not in the manual page")

# ---- bash ----


def complete(directory, *words):
    """What bash offers for the last of the words."""
    script = (f"source {shlex.quote(str(bash))}\n"
              f"COMP_WORDS=({' '.join(map(shlex.quote, words))}); COMP_CWORD={len(words) - 1}\n"
              'spec=$(complete -p qelftp) || exit 3\n'
              'set -- $spec; [ "$2" = -F ] || exit 4\n'
              '"$3" || exit 5\n'
              'printf "%s\\n" "${COMPREPLY[@]}"\n')
    code, text = run("bash", "--norc", "-c", script, cwd=directory)
    if code != 0:
        wrong.append(f"bash ended with {code} for {words}: {text}")
    return {line for line in text.splitlines() if line}


with tempfile.TemporaryDirectory() as directory:
    (pathlib.Path(directory) / "may report.csv").write_text("x")
    (pathlib.Path(directory) / "june").mkdir()
    files = {"may report.csv", "june"}
    expect("bash, commands", complete(directory, "qelftp", ""), set(commands))
    expect("bash, commands with m", complete(directory, "qelftp", "m"),
           {name for name in commands if name.startswith("m")})
    expect("bash, common options", complete(directory, "qelftp", "-"), common)
    expect("bash, command after an option with a value",
           complete(directory, "qelftp", "--connect-timeout", "3", "rmd"), {"rmdir"})
    expect("bash, command after an option with =",
           complete(directory, "qelftp", "--connect-timeout", "=", "3", "rmd"), {"rmdir"})
    expect("bash, value of an option", complete(directory, "qelftp", "--connect-timeout", ""),
           set())
    expect("bash, file of an option", complete(directory, "qelftp", "--password-file", ""), files)
    expect("bash, file of an option with =",
           complete(directory, "qelftp", "--password-file", "="), files)
    expect("bash, begun file of an option with =",
           complete(directory, "qelftp", "--password-file", "=", "may"), {"may report.csv"})
    for name, options in commands.items():
        expect(f"bash, options of {name}", complete(directory, "qelftp", name, "-"), options)
        expect(f"bash, arguments of {name}", complete(directory, "qelftp", name, ""),
               files if name in ("get", "put", "mirror") else set())

# ---- zsh ----

expect("zsh -n", run("zsh", "-n", str(zsh)), (0, ""))
loads = (f"fpath=({shlex.quote(str(folder))} $fpath); autoload -Uz compinit; compinit -D -u\n"
         "print -r -- ${_comps[qelftp]}; autoload +X _qelftp && print loaded")
expect("zsh loads it", run("zsh", "-f", "-c", loads), (0, "_qelftp\nloaded\n"))
script = zsh.read_text()


def expect_zsh_completes(line, expected):
    """Types the line into a real zsh, and Tab."""
    master, slave = pty.openpty()
    subprocess.run(["stty", "cols", "200", "rows", "40"], stdin=slave, check=True)
    shell = subprocess.Popen(["setsid", "-c", "zsh", "-f", "-i"], stdin=slave, stdout=slave,
                             stderr=slave, env=os.environ | {"TERM": "dumb"})
    os.close(slave)

    def shown_until(wanted):
        shown, end = "", time.monotonic() + 20
        while wanted not in shown and time.monotonic() < end:
            if select.select([master], [], [], 0.1)[0]:
                shown += os.read(master, 65536).decode(errors="replace").replace("\a", "")
        return shown

    try:
        os.write(master, (f"fpath=({shlex.quote(str(folder))} $fpath); autoload -Uz compinit\n"
                          "compinit -D -u; unsetopt zle_bracketed_paste; PS1='rea''dy> '\n").encode())
        shown_until("ready> ")
        os.write(master, line.encode() + b"\t")
        shown = shown_until(expected)
        if expected not in shown:
            wrong.append(f"zsh makes of {line!r} and Tab {shown!r} instead of {expected!r}")
    finally:
        shell.kill()
        shell.wait()
        os.close(master)


expect_zsh_completes("qelftp rmd", "qelftp rmdir ")
expect_zsh_completes("qelftp get --pass", "qelftp get --password-file ")
expect_zsh_completes("qelftp --connect-timeout 3 exi", "qelftp --connect-timeout 3 exists ")


def options_of_zsh(text):
    names = set()
    for line in re.findall(r"^ +'\(?(-[^\n]*)$", text, re.MULTILINE):
        names.update(re.split(r"[\[)]", line)[0].split())
    return names


cases = dict(re.findall(r"^        (\w+)\)\n(.*?)^            ;;", script, re.MULTILINE | re.DOTALL))
expect("commands of zsh", re.findall(r"^        '([a-z]+):", script, re.MULTILINE), list(commands))
expect("cases of zsh", list(cases), list(commands))
expect("common options of zsh", options_of_zsh(script.split("case $state")[0]), common)
for name, options in commands.items():
    expect(f"options of {name} in zsh", options_of_zsh(cases.get(name, "")), options)

if wrong:
    sys.exit("\n".join(wrong))
print(f"{len(commands)} commands and their options are in the manual page and the completions.")
