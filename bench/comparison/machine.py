"""What the figures were taken on."""

import os
import platform
import re
import subprocess
from datetime import date
from pathlib import Path


def describe(build, scratch):
    """Pairs of a name and a value."""
    return [
        ("Processor", processor()),
        ("Memory", memory()),
        ("System", f"{system()}, Linux {platform.release()}"),
        ("Temporary files on", file_system(scratch)),
        ("Compiler", compiler(build)),
        ("Busy before the start", f"{os.getloadavg()[0]:.1f} (load average of a minute)"),
        ("Date", date.today().isoformat()),
    ]


def first_value(path, pattern, otherwise="unknown"):
    found = re.search(pattern, Path(path).read_text(), re.MULTILINE)
    return found.group(1).strip() if found else otherwise


def processor():
    name = first_value("/proc/cpuinfo", r"^model name\s*:(.*)", platform.machine())
    count = len(os.sched_getaffinity(0))
    return f"{name}, {count} core{'s' if count > 1 else ''}"


def memory():
    kilobytes = int(first_value("/proc/meminfo", r"^MemTotal:\s*(\d+)", "0"))
    return f"{kilobytes / 2**20:.1f} GiB"


def system():
    return first_value("/etc/os-release", r'^PRETTY_NAME="?([^"\n]*)')


def file_system(directory):
    run = subprocess.run(["df", "--output=fstype", directory], stdout=subprocess.PIPE, text=True)
    return run.stdout.split()[-1] if run.returncode == 0 else "unknown"


def compiler(build):
    cache = build / "CMakeCache.txt"
    if not cache.exists():
        return "unknown"
    program = first_value(cache, r"^CMAKE_CXX_COMPILER:\w+=(.*)", "c++")
    kind = first_value(cache, r"^CMAKE_BUILD_TYPE:\w+=(.*)", "")
    flags = first_value(cache, rf"^CMAKE_CXX_FLAGS_{kind.upper()}:\w+=(.*)", "") if kind else ""
    run = subprocess.run([program, "--version"], stdout=subprocess.PIPE, text=True)
    return f"{run.stdout.splitlines()[0]}, {flags or 'no flags'}"
