#!/usr/bin/env python3
"""Measures the whole program from outside: benchmarks/application.py PROGRAM

Prints one JSON object a line, as benchmarks/CMakeLists.txt says. Times and memory are those the kernel counts for a
process and its children, so nothing that the program says about itself is taken on trust.
"""

import glob
import json
import os
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

CAPTURES = 10_000
EVENTS = 2_000
SEED = 20260302


def row(name, value, unit, limit=None, better="lower", note=""):
    fields = {"name": name, "value": value, "unit": unit, "limit": limit, "better": better, "note": note}
    print(json.dumps({key: field for key, field in fields.items() if field not in (None, "")}), flush=True)


def measured(command, environment, stdout=subprocess.DEVNULL):
    """Wall seconds, CPU seconds and peak memory in MB of one run."""
    begun = time.perf_counter()
    process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=stdout)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - begun
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command[0]} ended with status {process.returncode}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def medians(commands, environment, tries=9):
    """The figures of each command's median run; the commands take turns, so that all meet the same machine."""
    runs = [[measured(command, environment) for command in commands] for _ in range(tries)]
    return [tuple(statistics.median(each) for each in zip(*figures)) for figures in zip(*runs)]


def make_library(root):
    """The same library every time: folders over three years, each with a meta, a transcript and notes."""
    pick = random.Random(SEED)
    words = "plan ship budget review draft invoice metric launch hiring offer travel design contract".split()
    begin = time.mktime((2023, 1, 2, 9, 0, 0, 0, 0, 0))
    for index in range(CAPTURES):
        started = begin + index * 9_000
        kind = "meeting" if index % 4 else "thought"
        folder = os.path.join(root, "captures", time.strftime("%Y-%m-%d-%H%M", time.localtime(started)) + "-" + kind)
        os.makedirs(os.path.join(folder, "handoffs"))
        iso = lambda seconds: time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))
        meta = {"kind": kind, "sources": ["mic", "system"], "startedAt": iso(started), "endedAt": iso(started + 1800),
                "title": " ".join(pick.sample(words, 4)), "attendees": ["Dana Kim", "Noor Ali"],
                "attendeeEmails": ["dana@example.org", "noor@example.org"]}
        segments = [{"id": f"00000000-0000-4000-8000-{pick.getrandbits(48):012x}", "speaker": ("Me", "Them")[n % 2],
                     "start": n * 6.5, "text": " ".join(pick.choices(words, k=12))} for n in range(20)]
        for name, value in (("meta.json", meta), ("transcript.json", segments)):
            with open(os.path.join(folder, name), "w") as file:
                json.dump(value, file, indent=2, sort_keys=True)
        with open(os.path.join(folder, "handoffs", "notes.md"), "w") as file:
            file.write("# Notes\n\n" + " ".join(pick.choices(words, k=60)) + "\n")


def make_calendar(home):
    """Years of meetings, a series that goes on, and some tomorrow: to be read, but none that is due now."""
    folder = os.path.join(home, ".calendars", "work")
    os.makedirs(folder)
    tomorrow = time.time() + 20 * 3600
    for index in range(EVENTS):
        start = tomorrow - 40_000 * index
        if abs(start - time.time()) < 3 * 3600:
            continue
        repeats = index % 200 == 1 and 3 * 3600 < (start - time.time()) % 86_400 < 21 * 3600
        repeat = "RRULE:FREQ=DAILY\n" if repeats else ""
        with open(os.path.join(folder, f"{index}.ics"), "w") as file:
            file.write("BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:-//bench//EN\nBEGIN:VEVENT\n"
                       f"UID:{index}\nDTSTAMP:20260301T000000Z\n"
                       f"DTSTART:{time.strftime('%Y%m%dT%H%M%SZ', time.gmtime(start))}\nDURATION:PT30M\n{repeat}"
                       f"SUMMARY:Meeting {index}\nATTENDEE;CN=Dana Kim:mailto:dana@example.org\n"
                       "END:VEVENT\nEND:VCALENDAR\n")


def ticks(pid):
    with open(f"/proc/{pid}/stat") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def resident(pid):
    with open(f"/proc/{pid}/smaps_rollup") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("Rss:")) / 1024


def start_sound(environment):
    """A private sound server with one loudspeaker and a microphone, for the application to watch."""
    if not shutil.which("pulseaudio"):
        return None
    folder = os.path.join(environment["HOME"], "pulse")
    os.mkdir(folder, 0o700)
    environment["PULSE_SERVER"] = f"unix:{folder}/native"
    return subprocess.Popen(
        ["pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
         "-L", f"module-native-protocol-unix auth-anonymous=1 socket={folder}/native",
         "-L", "module-null-sink sink_name=speakers rate=48000 channels=2"],
        env=environment | {"PULSE_RUNTIME_PATH": folder}, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL)


def idle(program, environment):
    """CPU share and memory of the running application, all its watchers and passes awake, when nothing happens."""
    environment = dict(environment)
    make_calendar(environment["HOME"])
    for key in ("dailyIdeasMinute", "promiseRemindersMinute"):
        measured([program, "settings", "set", key, "0"], environment)
    sound = start_sound(environment)
    process = subprocess.Popen([program], env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    try:
        time.sleep(15)
        if process.poll() is not None:
            sys.exit("the application did not stay: " + process.stderr.read().decode())
        before = ticks(process.pid)
        time.sleep(30)
        used = (ticks(process.pid) - before) / os.sysconf("SC_CLK_TCK")
        note = (f"with detector, prep, inbox and passes; {CAPTURES:,} captures, {EVENTS:,} events, over 30 s, " +
                ("with" if sound else "without") + " a sound server")
        row("idle application, share of one core", round(100 * used / 30, 2), "%", 0.5, note=note)
        row("idle application, resident memory", round(resident(process.pid), 1), "MB", 70, note=note)
    finally:
        process.send_signal(signal.SIGTERM)
        process.wait(20)
        if sound:
            sound.terminate()
            sound.wait(20)


def main():
    program = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as home:
        runtime = os.path.join(home, "runtime")
        os.mkdir(runtime, 0o700)
        root = os.path.join(home, "Quillet")
        environment = {"PATH": os.environ["PATH"], "HOME": home, "XDG_RUNTIME_DIR": runtime, "QUILLET_ROOT": root,
                       "LC_ALL": "C.UTF-8"}
        [(wall, _, memory)] = medians([[program, "--version"]], environment)
        row("lumbro --version", round(1000 * wall, 1), "ms", 30)
        row("lumbro --version, memory", round(memory, 1), "MB", 60)

        make_library(root)
        metas = sorted(glob.glob(os.path.join(root, "captures", "*", "meta.json")))
        jq = ["jq", "-s", ".", *metas]
        first, _, _ = measured([program, "captures", "--json"], environment)
        # What changed within two seconds before a list is not remembered by it, and all of this was made just now.
        time.sleep(3)
        measured([program, "captures", "--json"], environment)
        (yardstick, _, _), (wall, cpu, memory) = medians([jq, [program, "captures", "--json"]], environment)
        note = f"{CAPTURES:,} captures"
        row("jq -s . over every meta.json", round(1000 * yardstick), "ms", note=note)
        row("captures --json", round(1000 * wall), "ms", round(250 * yardstick), note=note + " that have not changed for seconds; the limit is a quarter of jq")
        row("captures --json for the first time", round(1000 * first), "ms", note=note + "; reads all transcripts")
        row("captures --json, processor time", round(1000 * cpu), "ms", note=note)
        row("captures --json, memory", round(memory, 1), "MB", 150, note=note)
        idle(program, environment)


main()
