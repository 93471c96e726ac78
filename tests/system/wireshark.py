#!/usr/bin/env python3
"""Has tshark look at captures of plchost, as a witness that shares nothing with it.

    wireshark.py PLCHOST PLCSTATION SHARED_LINE PACKAGING FOLDER

PACKAGING holds the profile and the extcap program, FOLDER is an empty folder. tshark runs as another user than root,
who is not given the extcap folder of the environment. Exit codes: 0 all is as it should be; 1 it is not, and what is
wrong is printed.
"""
import json
import os
import pwd
import shutil
import signal
import subprocess
import sys
import tempfile
import time

TIMEOUT = 300
host, station, shared_line, packaging, folder = map(os.path.abspath, sys.argv[1:])
failures = 0
started = []


def claim(is_true, what):
    global failures
    if not is_true:
        failures += 1
        print("FAIL", what)


def start(words, **more):
    process = subprocess.Popen(words, stdout=subprocess.PIPE, text=True, **more)
    started.append(process)
    return process


def await_that(condition, what):
    limit = time.monotonic() + TIMEOUT
    while not condition():
        if time.monotonic() > limit:
            raise SystemExit(f"FAIL {what}")
        time.sleep(0.05)


def file(name):
    return os.path.join(folder, name)


def run(words, **more):
    return subprocess.run(words, capture_output=True, text=True, timeout=TIMEOUT, check=False, **more)


class Shark:
    """tshark with a home of its own, in which the profile lies."""

    def __init__(self):
        self.home = tempfile.mkdtemp()
        profile = os.path.join(self.home, ".config/wireshark/profiles/modbus-rtu")
        os.makedirs(profile)
        shutil.copy(os.path.join(packaging, "preferences"), profile)
        extcap = os.path.join(self.home, "extcap")
        os.makedirs(extcap)
        shutil.copy(os.path.join(packaging, "plchost-extcap"), extcap)
        self.environment = dict(os.environ, HOME=self.home, XDG_CONFIG_HOME=os.path.join(self.home, ".config"),
                                WIRESHARK_EXTCAP_DIR=extcap, PLCHOST=self.copied(host), TMPDIR=self.home)
        self.user = None
        if os.getuid() == 0:
            self.user = pwd.getpwnam("nobody")
            for place, folders, files in os.walk(self.home):
                for name in [place] + [os.path.join(place, name) for name in folders + files]:
                    os.chown(name, self.user.pw_uid, self.user.pw_gid)

    def copied(self, path):
        """A place from which another user may start it; its library lies where it always lay, or is not needed."""
        copy = os.path.join(self.home, os.path.basename(path))
        shutil.copy(path, copy)
        return copy

    def become(self):
        if self.user:
            os.setgroups([])
            os.setgid(self.user.pw_gid)
            os.setuid(self.user.pw_uid)

    def words(self, arguments):
        return ["tshark", "-C", "modbus-rtu"] + arguments

    def run(self, arguments, plain=False, stdin=None):
        words = ["tshark"] + arguments if plain else self.words(arguments)
        return run(words, env=self.environment, preexec_fn=self.become, cwd=self.home, stdin=stdin)

    def packets(self, path):
        names = ["frame.interface_name", "frame.packet_flags_direction", "frame.packet_flags_crc_error", "mbrtu.unit_id",
                 "modbus.func_code", "mbrtu.crc16.status", "modbus.exception_code", "frame.time_epoch", "frame.comment", "_ws.col.Info"]
        with open(path, "rb") as capture:
            done = self.run(["-r", "-", "-T", "fields", "-E", "separator=\t"] + [word for name in names for word in ("-e", name)],
                            stdin=capture)
        claim(done.returncode == 0, f"tshark: {done.stderr}")
        return [dict(zip(names, line.split("\t"))) for line in done.stdout.splitlines()]


def ledger_of(arguments):
    done = run([host, "listen", "--format", "ndjson"] + arguments)
    claim(done.returncode == 0, f"listen {arguments}: {done.stderr}")
    lines = [json.loads(line) for line in done.stdout.splitlines()]
    return [line for line in lines if line["kind"] == "heard"], lines[-1]


def compare(shark, capture, ledger):
    packets = shark.packets(capture)
    claim(len(packets) == len(ledger), f"{capture}: {len(packets)} packets, {len(ledger)} in the ledger")
    for number, (packet, entry) in enumerate(zip(packets, ledger), 1):
        where = f"{capture}: packet {number}: {packet} {entry}"
        is_noise, is_bad = entry["verdict"] == "noise", entry["verdict"] == "bad crc"
        is_inbound = is_noise or entry["role"] == "reply"
        claim(packet["frame.interface_name"] == ("rx" if is_inbound else "tx"), where)
        claim(int(packet["frame.packet_flags_direction"], 16) == (1 if is_inbound else 2 if entry["role"] == "request" else 0), where)
        claim(packet["frame.packet_flags_crc_error"] in (("1", "True") if is_noise or is_bad else ("0", "False")), where)
        claim("Unable to classify" not in packet["_ws.col.Info"], where)
        if is_noise:
            claim(packet["mbrtu.unit_id"] == "", where)
            continue
        data = bytes.fromhex(entry["bytes"])
        claim(packet["mbrtu.unit_id"] == str(data[0]), where)
        claim(packet["mbrtu.crc16.status"] == ("0" if is_bad else "1"), where)
        claim(packet["modbus.func_code"] in (str(data[1]), str(data[1] & 0x7F)), where)
        if not is_bad:
            claim(packet["_ws.col.Info"].strip().lower().startswith("response" if entry["role"] == "reply" else "query"), where)
            claim(packet["modbus.exception_code"] == str(entry.get("exception_code", "")), where)


def try_commands(shark, line):
    """Captures of commands that send, held against their own trace."""
    read, written = file("read.pcapng"), file("write.pcapng")
    for words, capture in ((["read", "4x:0:3", "0x:0:9", "1x:5", "4x:60000", "-a", "1"], read),
                           (["write", "4x:0=5", "0x:1=1", "4x:10=1,2,3", "0x:20=1,0,1"], written)):
        done = run([host] + words + ["-p", line, "-o", "60", "-v", "--capture", capture])
        traced = [row.split() for row in done.stderr.splitlines()]
        sent = [" ".join(row[3:]) for row in traced if len(row) > 3 and row[2] == "->"]
        ledger, _ = ledger_of([capture])
        claim([entry["bytes"] for entry in ledger if entry["role"] == "request"] ==
              [text.split("  ")[0].split(" (")[0] for text in sent], f"{words}: sent {sent}, captured {ledger}")
        claim(all(entry["verdict"] in ("request", "answer") for entry in ledger), f"{words}: {ledger}")
        compare(shark, capture, ledger)
    with open(written, "rb") as capture:
        plain = shark.run(["-r", "-"], plain=True, stdin=capture)
    claim(plain.returncode == 0 and "Modbus RTU" in plain.stdout, f"with no option: {plain.stdout} {plain.stderr}")


def try_listening(shark, master, listener):
    """A line with faults that is listened to while a master works on it: a file, a pipe, and Wireshark's own interface."""
    capture, ledger_file = file("line.pcapng"), file("line.ndjson")
    with open(ledger_file, "w", encoding="utf-8") as ledger_out:
        listening = subprocess.Popen([host, "listen", "-p", listener, "--format", "ndjson", "--capture", capture], stdout=ledger_out)
        started.append(listening)
        await_that(lambda: os.path.exists(capture), "listen makes no capture")
        for _ in range(3):
            run([host, "read", "-p", master, "-o", "0.3", "--late-guard", "0", "-a", "1", "4x:0:100", "3x:7", "4x:59990:5", "4x:60010:5", "0x:3:20"])
            run([host, "write", "-p", master, "-o", "0.3", "--late-guard", "0", "--no-echo-check", "4x:7=1,2,3", "0x:3=1"])
        listening.send_signal(signal.SIGINT)
        listening.wait(TIMEOUT)
    claim(listening.returncode == 0, f"listen ends with {listening.returncode}")
    with open(ledger_file, encoding="utf-8") as lines:
        live = [json.loads(line) for line in lines]
    heard = [line for line in live if line["kind"] == "heard"]
    claim(len(heard) > 30, f"only {len(heard)} frames were heard")
    compare(shark, capture, heard)
    again, statistics = ledger_of([capture])
    timeless = lambda line: {name: value for name, value in line.items() if name not in ("time", "time_s", "uncertain_ms")}
    claim([timeless(line) for line in heard] == [timeless(line) for line in again], "a capture tells other frames than the line")
    claim(timeless(live[-1]) == timeless(statistics), f"live {live[-1]}\nlater {statistics}")


def poll_until(master, process):
    while process.poll() is None:
        run([host, "read", "-p", master, "-o", "0.3", "--late-guard", "0", "4x:0:3"])


def try_pipes(shark, master, listener):
    listening = start([host, "listen", "-p", listener, "-q", "--capture", "-"])
    tshark = start(shark.words(["-i", "-", "-l", "-c", "8"]), env=shark.environment, preexec_fn=shark.become, cwd=shark.home,
                   stdin=listening.stdout)
    listening.stdout.close()
    poll_until(master, tshark)
    said = tshark.stdout.read()
    claim(said.count("Modbus RTU") >= 4, f"in a pipe: {said}")
    poll_until(master, listening)
    claim(listening.wait(TIMEOUT) == 0, f"a reader that has gone away is no failure: {listening.returncode}")


def try_extcap(shark, master, listener):
    interfaces = shark.run(["-D"], plain=True).stdout
    claim("plc-other" in interfaces, f"tshark -D: {interfaces}")
    kinds = shark.run(["-i", "plc-other", "-L"], plain=True)
    claim("WIRESHARK_UPPER_PDU" in kinds.stdout + kinds.stderr, f"tshark -L: {kinds}")
    tshark = start(shark.words(["-i", "plc-other", "-o", f"extcap.plc_other.port:{listener}", "-l", "-c", "8"]),
                   env=shark.environment, preexec_fn=shark.become, cwd=shark.home, stderr=subprocess.PIPE)
    poll_until(master, tshark)
    said, complaints = tshark.communicate()
    claim(said.count("Modbus RTU") >= 4, f"as an interface: {said} {complaints}")


def main():
    os.chmod(folder, 0o755)
    shark = Shark()
    try:
        good = start([station, "-q", "--size", "50000"]).stdout.readline().strip()
        try_commands(shark, good)
        bad = start([station, "-q", "--size", "60000", "--bad-crc", "10", "--drop", "10", "--noise-before", "10", "--seed", "3"])
        master, listener = file("master"), file("listener")
        line = start([shared_line, bad.stdout.readline().strip(), master, listener])
        claim(line.stdout.readline() == "ready\n", "no shared line")
        try_listening(shark, master, listener)
        try_pipes(shark, master, listener)
        os.chmod(folder, 0o755)
        try_extcap(shark, master, os.path.realpath(listener))
    finally:
        for process in started:
            if process.poll() is None:
                process.kill()
                process.wait()
        shutil.rmtree(shark.home)
    sys.exit(1 if failures else 0)


main()
