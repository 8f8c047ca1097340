#!/usr/bin/env python3
"""Runs every command that docs/qelftp.md and the help show. run-docs.py QELFTP ROOT SSHD [--record]

QELFTP is the program, ROOT the project, SSHD the folder that scripts/fetch-sshd.sh filled.

Blocks marked "sh" are scripts: they must end with exit code 0. They find the servers' and local files
of fixture(); "example.org" stands for a real FTP server and a real SFTP server on loopback ports. So do
the examples of each command's help.
Blocks marked "console" are one terminal session with the server of scripts/demo-server.py, all of them
together, and must print what is shown, but for port numbers, times and rates. With --record, what they
print is written into the page instead.
"""
import contextlib
import os
import pathlib
import pty
import re
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import time

qelftp, root, sshd = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
record = sys.argv[4:] == ["--record"]
page_path = root / "docs/qelftp.md"
page = page_path.read_text()

PASSWORD = "tea time"
SHOWN_PORT = "2121"
MARK = "\x1e"
LIMIT = 120  # seconds for a script

BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def environment(home, **more):
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(("QEL", "LC_")) and name not in ("NO_COLOR", "COLUMNS")}
    return kept | {"PATH": f"{qelftp.parent}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8",
                   "TERM": "dumb", "HOME": str(home), "TZ": "UTC",
                   "QELFTP_PASSWORD": PASSWORD} | more


@contextlib.contextmanager
def process(*command, **options):
    child = subprocess.Popen(command, **options)
    try:
        yield child
    finally:
        child.kill()
        child.wait()


def wait_for(what, log=None):
    end = time.monotonic() + 20
    while time.monotonic() < end:
        result = what()
        if result:
            return result
        time.sleep(0.05)
    sys.exit("A server does not start.\n" + (log.read_text() if log and log.exists() else ""))


def greets(port, text):
    try:
        with socket.create_connection(("127.0.0.1", port), 5) as connection:
            return connection.recv(64).startswith(text)
    except OSError:
        return False


@contextlib.contextmanager
def demo_server(directory):
    """User demo; gives the port."""
    port_file = directory / "demo-port"
    with process("/usr/bin/python3", str(root / "scripts/demo-server.py"),
                 str(directory / "demo"), str(port_file), stderr=subprocess.DEVNULL,
                 env=os.environ | {"DEMO_PASSWORD": PASSWORD}):
        yield int(wait_for(lambda: port_file.exists() and port_file.read_text()))


@contextlib.contextmanager
def ftp_server(directory):
    """User bob; gives the port."""
    with process("/usr/bin/python3", str(root / "tests/tool/ftpserver.py"), str(directory / "ftp"),
                 str(directory / "ftp-log"), stdout=subprocess.PIPE, text=True,
                 env=os.environ | {"PYTHONWARNINGS": "ignore"}) as server:
        line = server.stdout.readline()
        if not line:
            sys.exit("The FTP server does not start; it needs python3-pyftpdlib.")
        yield int(line)


@contextlib.contextmanager
def sftp_server(directory, home):
    """Gives user and port; the home gets a key that logs in, and knows the host."""
    if not (sshd / "sshd").exists():
        sys.exit(f"There is no sshd in {sshd}; scripts/fetch-sshd.sh fetches one.")
    place = directory / "sshd"
    shutil.copytree(sshd, place)
    (home / ".ssh").mkdir(mode=0o700)
    key = home / ".ssh/id_ed25519"
    for path in place / "host_key", key:
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", str(path)], check=True)
    shutil.copy(f"{key}.pub", place / "authorized_keys")
    user, as_user = subprocess.check_output(["id", "-un"], text=True).strip(), []
    if os.getuid() == 0:  # root's would want a user and a directory of its own on this machine
        user = "games"
        as_user = ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]
        directory.chmod(0o755)
        shutil.chown(place / "host_key", user, user)
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    (place / "config").write_text(
        f"ListenAddress 127.0.0.1:{port}\nHostKey {place}/host_key\n"
        f"AuthorizedKeysFile {place}/authorized_keys\nPasswordAuthentication no\n"
        "KbdInteractiveAuthentication no\nPidFile none\nStrictModes no\nUsePAM no\n"
        f"Subsystem sftp internal-sftp -d {directory}/sftp\n")
    log = place / "log"
    with open(log, "w") as err, process(
            *as_user, str(place / "sshd"), "-D", "-e", "-f", str(place / "config"), stderr=err,
            env=os.environ | {"LD_LIBRARY_PATH": str(place / "lib")}):
        wait_for(lambda: greets(port, b"SSH-"), log)
        host_key = " ".join((place / "host_key.pub").read_text().split()[:2])
        (home / ".ssh/known_hosts").write_text(f"[127.0.0.1]:{port} {host_key}\n")
        yield user, port


def write_tree(folder, files):
    for name, text in files.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        os.utime(path, (1717243200, 1717243200))


def fixture(directory):
    """The files that scripts find: on both servers, and in their own directory."""
    remote = {"reports/may.csv": "may\n" * 500, "reports/june.csv": "june\n" * 400,
              "reports/2023/april.csv": "april\n" * 300, "reports/2023-12.csv": "december\n",
              "reports/2024/july.csv": "july\n" * 200}
    for server in "ftp", "sftp":
        shutil.rmtree(directory / server, ignore_errors=True)
        write_tree(directory / server, remote)
    if os.getuid() == 0:
        for path in [directory / "sftp", *(directory / "sftp").rglob("*")]:
            shutil.chown(path, "games", "games")
    for local in "here", "tmp":
        shutil.rmtree(directory / local, ignore_errors=True)
    (directory / "tmp").mkdir()
    write_tree(directory / "here", {"may.csv": "may\n" * 600, "july.csv": "july\n" * 10,
                                    "photos/a.jpg": "a" * 5000, "photos/2024/b.jpg": "b" * 7000,
                                    "reports/august.csv": "august\n"})
    return directory / "here"


def run_scripts(scripts):
    wrong = []
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        home = directory / "home"
        home.mkdir()
        fixture(directory)
        with ftp_server(directory) as ftp_port, sftp_server(directory, home) as (user, sftp_port):
            for script in scripts:
                here = fixture(directory)
                real = re.sub(r"sftp://bob@example\.org", f"sftp://{user}@127.0.0.1:{sftp_port}",
                              script)
                real = re.sub(r"example\.org(:2121)?", f"127.0.0.1:{ftp_port}", real)
                real = re.sub(r"(?<=[ ])/tmp\b", str(directory / "tmp"), real)
                done = subprocess.run(["bash", "-euo", "pipefail", "-c", real], cwd=here,
                                      env=environment(home), stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                      timeout=LIMIT)
                if done.returncode != 0:
                    wrong.append(f"exit code {done.returncode}:\n{script}{done.stdout}")
    return wrong


def on_terminal(script, directory, env):
    """What a shell prints on a terminal that has no keyboard, and that nothing is drawn on: what takes
    more than a second on a busy machine would be, and is different each time."""
    master, slave = pty.openpty()
    subprocess.run(["stty", "cols", "100", "rows", "40", "-opost"], stdin=slave, check=True)
    output = b""
    with process("setsid", "-c", "bash", "--norc", "-c", script, stdin=slave, stdout=slave,
                 stderr=slave, cwd=directory, env=env) as shell:
        os.close(slave)
        end = time.monotonic() + LIMIT
        while time.monotonic() < end:
            if not select.select([master], [], [], 1)[0]:
                if shell.poll() is not None:
                    break
                continue
            try:
                piece = os.read(master, 65536)
            except OSError:  # the last program has closed it
                break
            output += piece
        else:
            sys.exit(f"The session takes longer than {LIMIT} seconds:\n{output.decode()}")
    os.close(master)
    return output.decode()


def play(commands):
    """Runs the commands as one session; gives what each printed."""
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        for folder in "demo", "home", "here":
            (directory / folder).mkdir()
        with demo_server(directory) as port:
            script = "".join(f"{command}\nprintf '{MARK}'\n" for command in commands)
            script = script.replace(f"127.0.0.1:{SHOWN_PORT}", f"127.0.0.1:{port}")
            output = on_terminal(script, directory / "here", environment(directory / "home"))
        output = output.replace("\r\n", "\n").replace(f"127.0.0.1:{port}", f"127.0.0.1:{SHOWN_PORT}")
    pieces = output.split(MARK)
    if len(pieces) != len(commands) + 1 or pieces[-1] != "":
        sys.exit(f"{len(commands)} commands, but this came back:\n{output}")
    return pieces[:-1]


def without_times(text):
    text = re.sub(r"\d{4}-\d\d-\d\d[ T]\d\d:\d\d(:\d\d)?Z?", "TIME", text)
    text = re.sub(r" *\d+(\.\d+)? (ms|s)\b", " TIME", text)
    text = re.sub(r'"(ms|seconds)":[0-9.e-]+', r'"\1":TIME', text)
    text = re.sub(r" *\d+(\.\d+)? [kKMG]?i?B/s", " RATE", text)
    return re.sub(r"\(127,0,0,1,\d+,\d+\)", "(127,0,0,1,PORT)", text)


def commands_and_outputs(block):
    """Pairs of a command and the text below it."""
    parts = re.split(r"^\$ (.*)\n", block, flags=re.MULTILINE)
    if parts[0] != "":
        sys.exit(f"A console block begins with a command:\n{block}")
    return list(zip(parts[1::2], parts[2::2]))


def run_sessions(blocks):
    sessions = [commands_and_outputs(block) for block in blocks]
    printed = iter(play([command for session in sessions for command, _ in session]))
    wrong, played = [], []
    for session in sessions:
        text = ""
        for command, shown in session:
            actual = next(printed)
            text += f"$ {command}\n{actual}"
            if without_times(actual) != without_times(shown):
                wrong.append(f"$ {command}\nshown:\n{shown}printed:\n{actual}")
        played.append(text)
    return wrong, played


def examples_of_help():
    def help_of(*command):
        return subprocess.check_output([str(qelftp), *command, "--help"], text=True)
    names = re.findall(r"^  (\S+)", help_of().split("\nCommands:\n")[1].split("\n\n")[0],
                       re.MULTILINE)
    examples = [line for name in names
                for line in re.findall(r"^  (.*\n)", help_of(name).split("\nExamples:\n")[1] + "\n",
                                       re.MULTILINE)]
    if len(names) < 8 or len(examples) < len(names):
        sys.exit(f"The help was not understood: {names}, {examples}")
    return examples


blocks = BLOCK.findall(page)
scripts = [text for kind, text in blocks if kind == "sh"]
sessions = [text for kind, text in blocks if kind == "console"]
wrong = [f"neither run nor compared: {line}" for kind, text in blocks
         if kind not in ("sh", "console") for line in text.splitlines()
         if re.match(r"(\$ )?qelftp (?!COMMAND)", line)]
if not scripts or not sessions:
    sys.exit("docs/qelftp.md shows no scripts, or no session.")

failed, played = run_sessions(sessions)
if record:
    texts = iter(played)
    page_path.write_text(BLOCK.sub(
        lambda block: f"```console\n{next(texts)}```" if block[1] == "console" else block[0], page))
else:
    wrong += failed
examples = examples_of_help()
wrong += run_scripts(scripts + examples)
if wrong:
    sys.exit("\n".join(wrong))
print(f"{len(scripts)} scripts and {len(sessions)} parts of a session are as docs/qelftp.md shows them, "
      f"and {len(examples)} examples of the help work.")
