"""The machine that is measured on, in a few lines, and the memory that is measured in."""

import os
import pathlib
import platform
import re
import subprocess
import time

PACKAGES = ("g++", "libcurl4-openssl-dev", "libpoco-dev", "libssh-dev", "curl", "lftp", "wget",
            "ncftp", "openssh-client")
BUSY = 0.05  # share of the processors' time from which on figures are doubtful
LOOK = 3  # seconds


def first_line(*command):
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True, check=False)
    except FileNotFoundError:
        return ""
    return done.stdout.splitlines()[0] if done.returncode == 0 and done.stdout else ""


def version(package):
    return first_line("dpkg-query", "-W", "-f", "${Version}\n", package)


def memory_gib(name):
    text = pathlib.Path("/proc/meminfo").read_text()
    return int(re.search(rf"{name}:\s*(\d+)", text).group(1)) / (1 << 20)


def processor():
    found = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    return found.group(1) if found else platform.machine()


def description(project, servers):
    """servers: the packages that are measured against, with their versions."""
    system = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())
    versions = [f"{package} {version(package)}" for package in PACKAGES if version(package)]
    commit = first_line("git", "-C", str(project), "describe", "--always", "--dirty")
    return [f"{processor()}, {os.cpu_count()} processors, {memory_gib('MemTotal'):.0f} GiB",
            f"{system.group(1) if system else 'Linux'}, Linux {platform.release()}",
            f"servers: {', '.join(servers)}; "
            f"peers: {', '.join(versions)}",
            f"commit {commit or 'unknown'}"]


def processor_times():
    fields = pathlib.Path("/proc/stat").read_text().splitlines()[0].split()[1:9]
    times = [int(field) for field in fields]
    return sum(times), times[3] + times[4]  # all; idle, or waiting for a disk


def busy_share():
    """How much of the processors' time others take, this moment."""
    all_before, idle_before = processor_times()
    time.sleep(LOOK)
    all_after, idle_after = processor_times()
    return 1 - (idle_after - idle_before) / max(1, all_after - all_before)


def prime(folder, gib):
    """Writes and removes a file of that size, so that no one is the first to touch the memory."""
    block = os.urandom(1 << 20)
    path = pathlib.Path(folder) / "prime"
    with open(path, "wb", buffering=0) as file:
        for _ in range(int(gib * 1024)):
            file.write(block)
    path.unlink()
