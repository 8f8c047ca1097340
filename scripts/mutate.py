#!/usr/bin/env python3
"""Changes src/ in small ways, one at a time, and sees whether the fast tests notice.

  scripts/mutate.py                 build, run all mutants, print the summary
  scripts/mutate.py --list          only print the mutants: number, key, place, change
  scripts/mutate.py --only 37,af01  only these, by number or key, with the tests' output
  scripts/mutate.py --resume        go on with a run that was broken off
  scripts/mutate.py --retry         the same, and once more what survived and is not explained

Works on copies of the tree in --work; the checkout stays as it is. The mutants are chosen from the
source with a seed, in each file in proportion to the lines that can be changed. A mutant's key is
made of its file and the text that it changes, so that it stays the same when lines move.

A mutant is killed when a test fails or hangs, twice in a row. A test that does so once only is not
asked any more in that run. Survivors that docs/mutation.md
explains as equivalent do not count. Ends with 1 when 5 % or more of the others survive, and when
an explanation is not true any more.
"""

import argparse
import collections
import dataclasses
import hashlib
import os
import pathlib
import queue
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXPLAINED = "docs/mutation.md"
MAX_SURVIVING = 0.05

# ---- The source as tokens ----

TOKEN = re.compile(
    r"""(?P<space>\s+)
      | (?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<string>"(?:\\.|[^"\\\n])*")
      | (?P<char>'(?:\\.|[^'\\\n])+')
      | (?P<number>\b(?:0[xX][0-9a-fA-F]+|[0-9]+)[uUlL]*\b)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<op><<=|>>=|->\*?|::|\+\+|--|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|<<|>>|.)""",
    re.S | re.M | re.X)


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    start: int
    end: int


def tokens_of(text):
    found = []
    for match in TOKEN.finditer(text):
        if match.lastgroup not in ("space", "comment", "directive"):
            found.append(Token(match.lastgroup, match.group(), match.start(), match.end()))
    return found


CLOSING = {"(": ")", "[": "]", "{": "}"}


def closing_of(tokens, at):
    """Where the bracket at this token is closed."""
    depth = 0
    for i in range(at, len(tokens)):
        if tokens[i].kind == "op":
            depth += (tokens[i].text in CLOSING) - (tokens[i].text in CLOSING.values())
            if depth == 0:
                return i
    return len(tokens) - 1


# ---- Statements ----

HEADS = ("if", "for", "while", "switch")
NO_STATEMENT = ("using", "namespace", "class", "struct", "enum", "template", "case", "default",
                "public", "private", "static", "friend", "typedef", "extern", "goto")


@dataclasses.dataclass
class Statement:
    first: int  # tokens, the last being the semicolon
    last: int
    guarded: bool  # the one statement below an if, for, while or else
    kind: str  # "return", "jump", "declaration", "expression"


def kind_of(words):
    """The kind of a statement by its tokens."""
    if words[0].text == "return":
        return "return"
    if words[0].text in ("break", "continue"):
        return "jump"
    depth = 0
    for before, token in zip([None] + words, words):
        if before is not None and depth == 0 and before.text != "delete" and token.kind == "word":
            if before.kind == "word" or (before is not words[0] and before.text in (">", "&", "*")):
                return "declaration"
        if token.text == "=" or (token.text == "(" and before is not None):
            break
        depth += (token.text in CLOSING) - (token.text in CLOSING.values())
    return "expression"


class StatementReader:
    """Collects the simple statements inside functions, neighbours of one block together."""

    def __init__(self, tokens):
        self.tokens = tokens
        self.at = 0
        self.guarded = False
        self.groups = []
        self.blocks = []  # for each open brace: its last neighbours, or None when it is no code

    def read(self):
        while self.at < len(self.tokens):
            text = self.tokens[self.at].text
            if text == "{":
                self.open_brace()
            elif text == "}":
                self.close_brace()
            elif not self.in_code():
                self.at += 1
            elif text in HEADS:
                self.at = closing_of(self.tokens, self.at + 1) + 1
                self.guarded = True
            elif text in ("else", "do"):
                self.at += 1
                self.guarded = True
            elif text in ("case", "default"):
                self.at = self.find(":") + 1
            else:
                self.take_statement()
        return self.groups

    def in_code(self):
        return bool(self.blocks) and self.blocks[-1] is not None

    def find(self, end):
        i = self.at
        while i < len(self.tokens) and self.tokens[i].text != end:
            i = closing_of(self.tokens, i) + 1 if self.tokens[i].text in CLOSING else i + 1
        return i

    def open_brace(self):
        """Of code, and not of a class, a namespace or an initialiser?"""
        before = self.tokens[self.at - 1].text if self.at else ""
        begins = (")", "else", "do", "const", "override", "noexcept", ":", "}", ";")
        code = before in begins or (before == "{" and self.in_code())
        self.blocks.append([] if code else None)
        self.guarded = False
        self.at += 1

    def close_brace(self):
        self.end_group()
        if self.blocks:
            self.blocks.pop()
        self.end_group()  # what follows a block is no neighbour of what precedes it
        self.guarded = False
        self.at += 1

    def end_group(self):
        if self.blocks and self.blocks[-1]:
            self.groups.append(self.blocks[-1])
            self.blocks[-1] = []

    def take_statement(self):
        last = self.find(";")
        if last > self.at and self.tokens[self.at].text not in NO_STATEMENT:
            kind = kind_of(self.tokens[self.at:last])
            if self.guarded:
                self.end_group()
            self.blocks[-1].append(Statement(self.at, last, self.guarded, kind))
            if self.guarded:
                self.end_group()
        self.guarded = False
        self.at = last + 1


# ---- Changes ----

COMPARE = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
LOGIC = {"&&": "||", "||": "&&"}
SIGN = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++"}
WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break"}
OTHER_RESULT = "FTP_UNKNOWN_REPLY"


@dataclasses.dataclass
class Change:
    operator: str
    start: int
    end: int
    text: str


def other_numbers(literal):
    digits = literal.rstrip("uUlL")
    suffix = literal[len(digits):]
    octal = re.fullmatch(r"0[0-7]+", digits)
    value = int(digits, 8 if octal else 0)
    write = hex if digits.lower().startswith("0x") else "0{:o}".format if octal else str
    return [write(v) + suffix for v in {value + 1, max(value - 1, 0), 0} - {value}]


def other_string(literal):
    inner = literal[1:-1]
    letters = [m.end() - 1 for m in re.finditer(r"(?<![\\%\w])\w+|(?<=\w)\w", inner)]
    if not letters:
        return f'"{inner}x"'
    at = letters[len(letters) // 2]
    return f'"{inner[:at]}{"x" if inner[at] != "x" else "y"}{inner[at + 1:]}"'


def token_changes(text, tokens):
    for i, token in enumerate(tokens):
        def change(operator, new, last=token):
            return Change(operator, token.start, last.end, new)

        before = tokens[i - 1] if i else token
        after = tokens[i + 1] if i + 1 < len(tokens) else token
        binary = text[token.start - 1].isspace() and text[token.end:token.end + 1].isspace()
        if token.text in ("if", "while") and after.text == "(":
            end = tokens[closing_of(tokens, i + 1)]
            yield Change("condition", after.start, end.end, f"(!{text[after.start:end.end]})")
        elif token.text == "!" and not binary:
            yield change("condition", "")
        elif token.text == "?":
            yield from swapped_choice(text, tokens, i)
        elif token.text in COMPARE and binary:
            yield change("comparison", COMPARE[token.text])
        elif token.text in LOGIC and binary:
            yield change("logic", LOGIC[token.text])
        elif token.kind == "number":
            for new in other_numbers(token.text):
                yield change("number", new)
        elif token.kind == "string":
            yield change("string", other_string(token.text))
        elif token.kind == "char":
            yield change("string", "'x'" if token.text != "'x'" else "'y'")
        elif token.text in SIGN and (binary or token.text in ("++", "--")):
            # Texts are added, too, and cannot be subtracted.
            if not any("str" in t.text or t.kind in ("string", "char") for t in (before, after)):
                yield change("sign", SIGN[token.text])
        elif token.text in WORDS:
            yield change("truth" if token.text in ("true", "false") else "jump", WORDS[token.text])
        elif re.fullmatch(r"FTP_[A-Z0-9_]+", token.text) and token.text != OTHER_RESULT:
            yield change("result", OTHER_RESULT)


def swapped_choice(text, tokens, at):
    """a ? b : c as a ? c : b."""
    def run(i, ends):
        while tokens[i].text not in ends and tokens[i].text not in CLOSING.values():
            i = closing_of(tokens, i) + 1 if tokens[i].text in CLOSING else i + 1
        return i

    colon = run(at + 1, (":",))
    end = run(colon + 1, (";", ",", ":"))
    if tokens[colon].text == ":":
        first = text[tokens[at + 1].start:tokens[colon - 1].end]
        between = text[tokens[colon - 1].end:tokens[colon + 1].start]
        second = text[tokens[colon + 1].start:tokens[end - 1].end]
        yield Change("condition", tokens[at + 1].start, tokens[end - 1].end,
                     second + between + first)


def statement_changes(text, tokens):
    def source(statement):
        return text[tokens[statement.first].start:tokens[statement.last].end]

    def blank(statement):  # keeps the lines, whose numbers are logged
        return ";" + "\n" * source(statement).count("\n")

    for group in StatementReader(tokens).read():
        for statement in group:
            start, end = tokens[statement.first].start, tokens[statement.last].end
            if statement.kind == "expression" or (statement.kind == "return" and statement.guarded):
                yield Change("drop", start, end, blank(statement))
            if statement.kind == "return" and statement.last - statement.first > 1:
                value = text[tokens[statement.first + 1].start:tokens[statement.last - 1].end]
                if not re.fullmatch(r"FTP_OK|0|false|true|nullptr|\{\}", value):
                    yield Change("return", start, end,
                                 "return {};" + "\n" * source(statement).count("\n"))
        for first, second in zip(group, group[1:]):
            both = (first, second)
            if any(s.guarded or s.kind in ("return", "jump") for s in both):
                continue
            if not all("(" in source(s) for s in both):
                continue  # nothing that the other could notice
            start, end = tokens[first.first].start, tokens[second.last].end
            between = text[tokens[first.last].end:tokens[second.first].start]
            yield Change("order", start, end, source(second) + between + source(first))


# ---- Mutants ----


@dataclasses.dataclass
class Mutant:
    file: str
    line: int
    operator: str
    before: str  # the changed lines, on one
    after: str
    original: str  # the whole file
    mutated: str
    start: int
    key: str = ""
    number: int = 0

    def describe(self):
        return f"{self.file}:{self.line} {self.operator}: {self.before} -> {self.after}"


def lines_around(text, start, end):
    first = text.rfind("\n", 0, start) + 1
    last = text.find("\n", end)
    return " ".join(text[first:last if last >= 0 else len(text)].split())


def mutants_of(file, text):
    tokens = tokens_of(text)
    seen = collections.Counter()
    found = []
    changes = [*token_changes(text, tokens), *statement_changes(text, tokens)]
    for change in sorted(changes, key=lambda c: (c.start, c.end, c.operator, c.text)):
        mutated = text[:change.start] + change.text + text[change.end:]
        mutant = Mutant(file, text.count("\n", 0, change.start) + 1, change.operator,
                        lines_around(text, change.start, change.end),
                        lines_around(mutated, change.start, change.start + len(change.text)),
                        text, mutated, change.start)
        identity = (file, mutant.before, mutant.after)
        seen[identity] += 1
        mutant.key = hashlib.sha256(repr((identity, seen[identity])).encode()).hexdigest()[:8]
        found.append(mutant)
    return found


def chosen_of(mutants, count, seed):
    """So many of a file's mutants: its operators in turn, each place once as long as it goes."""
    def rank(text):
        return hashlib.sha256(f"{seed} {text}".encode()).hexdigest()

    waiting = collections.defaultdict(list)
    for mutant in sorted(mutants, key=lambda m: rank(m.key)):
        waiting[mutant.operator].append(mutant)
    operators = sorted(waiting, key=lambda o: rank(mutants[0].file + o))
    chosen = []
    places = set()
    while len(chosen) < min(count, len(mutants)):
        for operator in operators:
            fresh = [m for m in waiting[operator] if m.start not in places]
            if len(chosen) < count and waiting[operator]:
                mutant = (fresh or waiting[operator])[0]
                waiting[operator].remove(mutant)
                places.add(mutant.start)
                chosen.append(mutant)
    return chosen


def all_mutants(count, seed):
    """The chosen mutants, and the keys of all that could be chosen."""
    found = {}
    weight = {}
    for path in sorted(ROOT.glob("src/**/*")):
        if path.suffix in (".cpp", ".h"):
            file = str(path.relative_to(ROOT))
            text = path.read_text()
            found[file] = mutants_of(file, text)
            weight[file] = len({m.line for m in found[file]})
    files = [f for f in found if found[f]]
    total = sum(weight[f] for f in files)
    chosen = []
    for file in files:
        share = max(1, round(count * weight[file] / total))
        chosen += sorted(chosen_of(found[file], share, seed), key=lambda m: (m.start, m.key))
    for number, mutant in enumerate(chosen, 1):
        mutant.number = number
    return chosen, {m.key for file in files for m in found[file]}


# ---- Tests ----


@dataclasses.dataclass(frozen=True)
class Program:
    name: str
    parts: int = 1  # run side by side; many for programs that mostly wait
    corpus: bool = False


FUZZ = [Program("fuzz_" + name, corpus=True) for name in
        ("algorithms", "classifier", "closingreply", "listing", "passivereply", "pwdreply",
         "remotepath", "replyreader", "session")]
FTP = [Program("unit_test"), *FUZZ[1:], Program("hostfunctions_test"), Program("dialogue_test", 6),
       Program("transport_test", 4), Program("transfer_test", 8), Program("blocksize_test"),
       Program("session_test", 10), Program("transferoptions_test", 16),
       Program("session_threads_test")]
SFTP = [Program("sftp_config_test"), FUZZ[0], Program("sftp_client_test"),
        Program("sftp_threads_test")]
HOST = [Program("platform_wiping_test"), Program("platform_replace_test")]
ALL = HOST + SFTP + FTP

# What most likely notices a change of a file, and is run before the rest.
NEAREST = [
    ("src/sftp/sftpclientreadcfg", ["sftp_config_test", "fuzz_algorithms"]),
    ("src/sftp/", ["sftp_client_test"]),
    ("src/support/autopassword", ["platform_wiping_test"]),
    ("src/support/", ["dialogue_test"]),
    ("src/ftp/ftpclientcom", ["transport_test"]),
    ("src/ftp/ftpclient", ["session_test"]),
    ("src/ftp/ftpfiles", ["session_test"]),
    ("src/ftp/ftpdirectories", ["session_test"]),
    ("src/ftp/ftplisting", ["fuzz_session", "transfer_test"]),
    ("src/ftp/ftptransfer", ["fuzz_session", "transfer_test"]),
    ("src/ftp/transfer", ["fuzz_session", "transferoptions_test"]),
    ("src/ftp/localfile", ["fuzz_session", "transferoptions_test"]),
    ("src/ftp/list", ["unit_test", "fuzz_listing"]),
    ("src/ftp/replyclass", ["unit_test", "fuzz_classifier"]),
    ("src/ftp/reply", ["unit_test", "fuzz_replyreader"]),
    ("src/ftp/wildmatch", ["unit_test", "fuzz_classifier"]),
    ("src/ftp/closingreply", ["unit_test", "fuzz_closingreply"]),
    ("src/ftp/remotepath", ["unit_test", "fuzz_remotepath"]),
    ("src/ftp/passivereply", ["fuzz_passivereply", "transferoptions_test"]),
    ("src/ftp/", ["fuzz_session", "dialogue_test"]),
]


def stages_for(file):
    """The programs that a change of this file can reach: those nearest to it, then the others."""
    if file.startswith("src/support/"):
        programs = ALL
    else:
        programs = SFTP if file.startswith("src/sftp/") else FTP
    nearest = next(names for start, names in NEAREST if file.startswith(start))
    return [[p for p in programs if p.name in nearest],
            [p for p in programs if p.name not in nearest]]


# Tests that have failed and then passed: program and test.
unsteady = set()


LIBRARIES = ["qelftpclient", "qelftpclient_core"]
TARGETS = LIBRARIES + [p.name for p in ALL]


@dataclasses.dataclass
class Failure:
    program: Program
    test: str  # the one that failed, as a filter of its program; empty if it cannot be told
    how: str
    output: str


class Part:
    """One process of a program, and how it ended."""

    def __init__(self, tree, program, index, test):
        self.program = program
        self.log = tempfile.TemporaryFile()
        command = [str(tree / "build/mutate/bin" / program.name)]
        environment = dict(os.environ)
        if program.corpus:
            command.append(str(tree / "fuzz/corpus" / program.name.removeprefix("fuzz_")))
        else:
            command += ["--gtest_fail_fast", "--gtest_color=no", "--gtest_break_on_failure=0"]
            doubted = sorted(t for name, t in unsteady if name == program.name)
            if test or doubted:
                command.append("--gtest_filter=" + (test or "-" + ":".join(doubted)))
            if not test and program.parts > 1:
                environment.update(GTEST_TOTAL_SHARDS=str(program.parts),
                                   GTEST_SHARD_INDEX=str(index))
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.log,
                                        stderr=subprocess.STDOUT, env=environment, cwd=tree,
                                        process_group=0)
        self.size = 0
        self.quiet_since = time.monotonic()

    def output(self):
        self.log.seek(0)
        return self.log.read().decode(errors="replace")

    def is_stuck(self, limit):
        size = os.fstat(self.log.fileno()).st_size
        if size != self.size:
            self.size = size
            self.quiet_since = time.monotonic()
        return time.monotonic() - self.quiet_since > limit

    def end(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)  # and children that a test has left
        except ProcessLookupError:
            pass
        self.process.wait()

    def failure(self, stuck):
        output = self.output()
        failed = re.findall(r"^\[  FAILED  \] ([^\s,]+)(?:, where .*)? \(", output, re.M)
        begun = re.findall(r"^\[ RUN      \] (\S+)", output, re.M)
        test = (failed or begun or [""])[-1]
        code = self.process.returncode
        how = "hangs" if stuck else "fails" if code > 0 else f"dies of signal {-code}"
        return Failure(self.program, test, how, output)


def first_failure(tree, programs, stuck_after, test=""):
    """Runs programs side by side, or one test of the only one, until something fails."""
    parts = [Part(tree, program, i, test) for program in programs
             for i in range(1 if test else program.parts)]
    running = list(parts)
    try:
        while running:
            time.sleep(0.02)
            for part in list(running):
                if part.process.poll() is not None:
                    running.remove(part)
                    if part.process.returncode != 0:
                        return part.failure(stuck=False)
                elif part.is_stuck(stuck_after):
                    return part.failure(stuck=True)
        return None
    finally:
        for part in parts:
            part.end()
            part.log.close()


def lasting_failure(tree, programs, stuck_after):
    """A failure that shows again when its test alone is run once more."""
    while True:
        failure = first_failure(tree, programs, stuck_after)
        if failure is None:
            return None
        again = first_failure(tree, [failure.program], stuck_after, failure.test)
        if again is not None or not failure.test:
            return again or failure
        unsteady.add((failure.program.name, failure.test))
        print(f"  {failure.program.name} {failure.test} {failure.how}, but only once", flush=True)


# ---- Running mutants ----


class Tree:
    """A copy of the checkout, with its build."""

    def __init__(self, place):
        self.place = place
        self.header_changed = False  # the tests were compiled with another header
        self.environment = dict(os.environ)
        if shutil.which("ccache"):
            self.environment.update(CMAKE_CXX_COMPILER_LAUNCHER="ccache", CCACHE_NOHASHDIR="1",
                                    CCACHE_BASEDIR=str(place), CCACHE_SLOPPINESS="time_macros")

    def copy(self):
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others",
                                 "--exclude-standard"], cwd=ROOT, check=True, capture_output=True)
        wanted = {name for name in listed.stdout.decode().split("\0") if name}
        for name in sorted(wanted):
            source = ROOT / name
            target = self.place / name
            if not source.is_file():
                wanted.discard(name)
            elif not target.exists() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)  # as new: a change back must be compiled, too
        for path in self.place.rglob("*"):
            name = path.relative_to(self.place)
            if path.is_file() and name.parts[0] != "build" and str(name) not in wanted:
                path.unlink()

    def build(self, targets, log):
        command = ["cmake", "--build", "build/mutate", "-j", "2", "--target", *targets]
        return subprocess.run(command, cwd=self.place, env=self.environment, stdout=log,
                              stderr=subprocess.STDOUT).returncode == 0

    def prepare(self):
        with open(self.place.with_suffix(".log"), "w+") as log:
            configured = subprocess.run(["cmake", "--preset", "mutate"], cwd=self.place,
                                        env=self.environment, stdout=log,
                                        stderr=subprocess.STDOUT).returncode == 0
            if not configured or not self.build(TARGETS, log):
                sys.exit(f"The unchanged tree does not build, see {log.name}")


@dataclasses.dataclass
class Result:
    key: str
    state: str  # "killed", "survived", "does not compile"
    program: str = ""
    test: str = ""
    seconds: float = 0.0

    def found_by(self):
        return self.program, self.test.split(" ")[0]

    def line(self):
        return "\t".join((self.key, self.state, self.program, self.test, f"{self.seconds:.1f}"))


def examine(tree, mutant, stuck_after, show):
    """Builds and tests one mutant, and puts the tree back."""
    begun = time.monotonic()

    def result(state, program="", test=""):
        return Result(mutant.key, state, program, test, time.monotonic() - begun)

    path = tree.place / mutant.file
    tree.header_changed = tree.header_changed or path.suffix == ".h"
    path.write_text(mutant.mutated)
    try:
        with tempfile.TemporaryFile() as log:
            if not tree.build(LIBRARIES, None if show else log):
                return result("does not compile")
            for programs in stages_for(mutant.file):
                names = [p.name for p in programs]
                if tree.header_changed and not tree.build(names, None if show else log):
                    return result("killed", "", "the tests do not compile")
                failure = lasting_failure(tree.place, programs, stuck_after)
                if failure is not None:
                    if show:
                        print(failure.output, flush=True)
                    return result("killed", failure.program.name,
                                  f"{failure.test} {failure.how}".strip())
        return result("survived")
    finally:
        path.write_text(mutant.original)


def check_unchanged(tree, stuck_after):
    begun = time.monotonic()
    failure = lasting_failure(tree.place, ALL, stuck_after)
    if failure is not None:
        sys.exit(f"{failure.output}\nThe tests of the unchanged tree fail: {failure.program.name} "
                 f"{failure.test} {failure.how}")
    print(f"Tested the unchanged tree in {time.monotonic() - begun:.0f} s", flush=True)


def run_all(mutants, options, results, record):
    trees = [Tree(options.work / str(i + 1)) for i in range(options.jobs)]
    print(f"Building {len(trees)} copies of the tree in {options.work}", flush=True)
    for tree in trees:
        tree.copy()
    for tree in trees:
        tree.prepare()
    if not options.only:
        check_unchanged(trees[0], options.stuck)
    waiting = queue.SimpleQueue()
    for mutant in sorted(mutants, key=lambda m: m.file.endswith(".h")):  # the slow ones last
        if mutant.key not in results:
            waiting.put(mutant)
    lock = threading.Lock()

    def work(tree):
        while True:
            try:
                mutant = waiting.get_nowait()
            except queue.Empty:
                return
            result = examine(tree, mutant, options.stuck, bool(options.only))
            with lock:
                results[mutant.key] = result
                record(result)
                print(f"{mutant.number:4} {result.state}: {mutant.describe()} "
                      f"[{result.program} {result.test} {result.seconds:.0f} s]", flush=True)

    while not waiting.empty():
        workers = [threading.Thread(target=work, args=(tree,), daemon=True) for tree in trees]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        for mutant in mutants:  # once more what was found by tests that turned out to be unsteady
            if results[mutant.key].found_by() in unsteady:
                waiting.put(mutant)


# ---- What comes of it ----


def explained_keys():
    """The keys in the first column of the tables of equivalent mutants."""
    path = ROOT / EXPLAINED
    text = path.read_text() if path.exists() else ""
    return set(re.findall(r"^\| `([0-9a-f]{8})` \|", text, re.M))


STATES = ("killed", "equivalent", "survived", "does not compile", "not run")


def by_state(mutants, results, explained):
    states = {state: [] for state in STATES}
    for mutant in mutants:
        state = results[mutant.key].state if mutant.key in results else "not run"
        explains = state == "survived" and mutant.key in explained
        states["equivalent" if explains else state].append(mutant)
    return states


def print_table(states):
    print("\n" + " " * 12 + "".join(f"{state:>18}" for state in STATES))
    for operator in sorted({m.operator for state in STATES for m in states[state]}):
        counts = (sum(m.operator == operator for m in states[state]) for state in STATES)
        print(f"{operator:12}" + "".join(f"{count:>18}" for count in counts))


def summary(mutants, results, possible):
    explained = explained_keys()
    states = by_state(mutants, results, explained)
    print_table(states)
    for mutant in states["survived"]:
        print(f"\nsurvived: {mutant.number} {mutant.key} {mutant.describe()}")
    wrong = [m for m in states["killed"] if m.key in explained]
    for mutant in wrong:
        print(f"\nnot equivalent, though {EXPLAINED} says so: {mutant.number} {mutant.key} "
              f"{mutant.describe()}")
    stale = explained - possible
    if stale:
        print(f"\nexplained in {EXPLAINED}, but no change of the source any more: "
              + " ".join(sorted(stale)))
    counted = len(states["killed"]) + len(states["survived"])
    share = len(states["survived"]) / counted if counted else 0.0
    print(f"\n{len(mutants)} mutants: " + ", ".join(f"{len(states[s])} {s}" for s in STATES)
          + f"; survived {100 * share:.1f} % of the {counted} that can be noticed")
    return 1 if share >= MAX_SURVIVING or wrong or stale or states["not run"] or not counted else 0


def read_results(path):
    results = {}
    for line in path.read_text().splitlines() if path.exists() else []:
        key, state, program, test, seconds = line.split("\t")
        results[key] = Result(key, state, program, test, float(seconds))
    return results


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--only", metavar="MUTANTS")
    parser.add_argument("--resume", action="store_true")
    parser.add_argument("--retry", action="store_true")
    parser.add_argument("--count", type=int, default=240, help="mutants in all, about")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=2, help="copies of the tree at work")
    parser.add_argument("--stuck", type=float, default=30, metavar="SECONDS",
                        help="a test that is at work for longer hangs")
    parser.add_argument("--work", type=pathlib.Path,
                        default=pathlib.Path(tempfile.gettempdir()) / f"qel-mutate-{os.getuid()}")
    options = parser.parse_args()

    mutants, possible = all_mutants(options.count, options.seed)
    if options.list:
        for mutant in mutants:
            print(f"{mutant.number:4} {mutant.key} {mutant.describe()}")
        return 0
    options.work.mkdir(parents=True, exist_ok=True)
    if options.only:
        wanted = options.only.split(",")
        mutants = [m for m in mutants if str(m.number) in wanted or m.key in wanted]
        if len(mutants) != len(wanted):
            sys.exit("There is no such mutant; see --list")
        options.jobs = 1
        results = {}
        run_all(mutants, options, results, lambda result: None)
        return summary(mutants, results, possible)

    path = options.work / "results"
    results = read_results(path) if options.resume or options.retry else {}
    if options.retry:
        explained = explained_keys()
        results = {k: r for k, r in results.items() if r.state != "survived" or k in explained}
    with open(path, "w", encoding="utf-8") as log:
        def record(result):
            log.write(result.line() + "\n")
            log.flush()

        for result in results.values():
            record(result)
        if any(mutant.key not in results for mutant in mutants):
            run_all(mutants, options, results, record)
    return summary(mutants, results, possible)


if __name__ == "__main__":
    sys.exit(main())
