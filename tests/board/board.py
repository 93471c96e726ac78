#!/usr/bin/env python3
"""Boots emulated boards and judges what their checks say. Called by scripts/board, which knows the places.

  board.py --kernel FOLDER --root FOLDER --sysroot FOLDER --station PROGRAM --project FILE --work FOLDER MACHINE...

Each check is a line on the board's console, "ok CLAIM" or "FAIL CLAIM". Exit codes: 0 all checks of all machines passed;
1 one did not, or a board did not come to its end; 2 wrong usage.
"""
import argparse
import contextlib
import dataclasses
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import disk
import gate

LONGEST = 900  # seconds that a machine may take, on however busy a computer
# Slow as the board is, no reply may be late.
PATIENCE_MS = 20000
STATIONS = "1-8"
VALUES = {"4x": {"100": [4660, 43981, 1]}}


@dataclasses.dataclass(frozen=True)
class Port:
    device: str
    backend: str  # name of its character device in the emulator
    chip: type = None  # reads the emulator's trace; None where that tells nothing


@dataclasses.dataclass(frozen=True)
class Machine:
    arguments: list
    console: str
    ports: list
    device_tree: str = None
    modules: tuple = ()


MACHINES = {
    "virt": Machine(
        # Without highmem=off the kernel finds no PCI, without always-plugged no ttyUSB0.
        ["-M", "virt,highmem=off", "-cpu", "cortex-a15", "-device", "pci-serial,chardev=a", "-device", "pci-ohci,id=ohci",
         "-device", "usb-serial,chardev=b,bus=ohci.0,always-plugged=on,id=adapter"],
        "ttyAMA0", [Port("ttyS0", "a", gate.PciUart), Port("ttyUSB0", "b", gate.UsbConverter)],
        modules=("usbcore", "ohci-hcd", "ohci-pci", "usbserial", "ftdi_sio")),
    "imx6ul": Machine(["-M", "mcimx6ul-evk", "-serial", "chardev:a"], "ttymxc0", [Port("ttymxc1", "a")],
                      "imx6ul-14x14-evk.dtb"),
    "vexpress": Machine(["-M", "vexpress-a9", "-serial", "chardev:a"], "ttyAMA0", [Port("ttyAMA1", "a", gate.Pl011)],
                        "vexpress-v2p-ca9.dtb"),
}


class Judge:
    """Counts what the console says, line by line."""

    def __init__(self):
        self.passed = 0
        self.failed = []
        self.told = None  # number of checks that the board says it made
        self.finished = False

    def hear(self, line):
        """Takes a line of the console. Returns the words of a question that the board asks, otherwise nothing."""
        kind, _, rest = line.partition(" ")
        if kind == "ok":
            self.passed += 1
        elif kind == "FAIL":
            self.failed.append(rest)
        elif kind == "end" and rest.isdigit():
            self.told = int(rest)
            self.finished = True
        elif kind == "ask":
            return rest.split()
        return []

    def complaint(self):
        """Why the board has not passed, in one line; empty when it has."""
        if not self.finished:
            return "it did not come to its end"
        if self.failed:
            return f"{len(self.failed)} of {self.told} checks failed"
        if self.told == 0:
            return "it made no check"
        if self.passed != self.told:
            return f"it made {self.told} checks, and {self.passed} were heard of"
        return ""


class Control:
    """The emulator's control connection (QMP)."""

    def __init__(self, connection):
        connection.settimeout(60)
        self._stream = connection.makefile("rw", encoding="utf-8")
        self._stream.readline()  # the greeting
        self.call("qmp_capabilities")

    def close(self):
        self._stream.close()

    def call(self, command, **arguments):
        self._stream.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self._stream.flush()
        self._await("return")

    def await_event(self, name):
        self._await("event", name)

    def _await(self, key, value=None):
        for line in self._stream:
            message = json.loads(line)
            if "error" in message:
                raise RuntimeError(f"the emulator refuses: {message['error']['desc']}")
            if key in message and value in (None, message[key]):
                return
        raise RuntimeError("the emulator has closed its control connection")


class Station:
    """plcstation on a line of its own."""

    def __init__(self, program, folder, name):
        areas = folder / "areas.json"
        areas.write_text(json.dumps(VALUES), encoding="utf-8")
        link = folder / f"line-{name}"
        # The board may take long between two pieces of a request.
        self._process = subprocess.Popen(
            [program, "-a", STATIONS, "--areas", areas, "--link", link, "--silence", "1000", "--die-with-parent", "-q"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        if not self._process.stdout.readline():
            raise RuntimeError("plcstation did not start")
        self.line = os.open(link, os.O_RDWR | os.O_NOCTTY)

    def close(self):
        os.close(self.line)
        self._process.terminate()
        self._process.communicate()


class Board:
    """One machine while it runs."""

    def __init__(self, name, places, folder):
        self._name = name
        self._machine = MACHINES[name]
        self._places = places
        self._folder = folder
        self._trace = folder / "trace.log"
        self._gates = {}
        self._control = None

    def run(self, judge, log):
        """Boots the board and hears its console to the end of the checks, or until its time is over."""
        with contextlib.ExitStack() as opened:
            listeners = {port.device: opened.enter_context(listen(self._folder / port.device))
                         for port in self._machine.ports}
            control = opened.enter_context(listen(self._folder / "control"))
            emulator = opened.enter_context(subprocess.Popen(
                self._command(), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT))
            limit = threading.Timer(LONGEST, emulator.kill)
            limit.start()
            opened.callback(limit.cancel)
            try:
                for port in self._machine.ports:
                    self._open_line(port, listeners[port.device], opened)
                self._control = Control(opened.enter_context(control.accept()[0]))
                opened.callback(self._control.close)
                self._listen(emulator, judge, log)
            finally:
                emulator.kill()  # which ends the gates

    def _listen(self, emulator, judge, log):
        for raw in emulator.stdout:
            line = raw.decode(errors="replace").rstrip()
            print(line, file=log, flush=True)
            question = judge.hear(line)
            if question:
                emulator.stdin.write(b"done\n" if self._answer(question) else b"no\n")
                emulator.stdin.flush()
            if judge.finished:
                return

    def _command(self):
        machine = self._machine
        command = ["qemu-system-arm", "-serial", "stdio", *machine.arguments, "-m", "512", "-display", "none", "-nodefaults",
                   "-no-reboot", "-kernel", self._places.kernel / "vmlinuz", "-initrd", self._make_disk(),
                   "-append", f"console={machine.console} quiet panic=-1 board={self._name}",
                   "-qmp", f"unix:{self._folder}/control", "-D", self._trace]
        if machine.device_tree:
            command += ["-dtb", self._places.kernel / machine.device_tree]
        for port in machine.ports:
            command += ["-chardev", f"socket,id={port.backend},path={self._folder / port.device}"]
            for event in port.chip.EVENTS if port.chip else ():
                command += ["-trace", f"enable={event}"]
        return command

    def _make_disk(self):
        checks = pathlib.Path(__file__).with_name("checks.sh").read_bytes()
        path = self._folder / "disk.cpio"
        modules = [self._places.kernel / f"{name}.ko" for name in self._machine.modules]
        disk.write_disk(path, self._places.root, self._places.sysroot, self._places.kernel / "busybox", modules,
                        {"init": (checks, 0o755), "packaging_line.json": (patient_project(self._places.project), 0o644)})
        return path

    def _open_line(self, port, listener, opened):
        station = Station(self._places.station, self._folder, port.device)
        opened.callback(station.close)
        connection = opened.enter_context(listener.accept()[0])
        told = gate.Told(port.chip(), self._trace) if port.chip else None
        self._gates[port.device] = gate.Gate(connection, station.line, told)
        self._gates[port.device].start()
        opened.callback(self._gates[port.device].join)

    def _answer(self, question):
        """Does what the board asks for. Returns whether that was possible."""
        kind, *words = question
        if kind == "line":
            device, *needed = words
            self._gates[device].need(settings_of(*needed) if needed else None)
        elif kind == "held":
            return self._gates[words[0]].all_held()
        elif kind == "unplug":
            self._control.call("device_del", id="adapter")
            self._control.await_event("DEVICE_DELETED")
        elif kind == "plug":
            self._control.call("device_add", driver="usb-serial", chardev="b", bus="ohci.0", id="adapter",
                               **{"always-plugged": True})
        else:
            raise ValueError(f"the board asks for '{kind}'")
        return True


def listen(path):
    """A socket to which the emulator connects when it starts."""
    listener = socket.socket(socket.AF_UNIX)
    listener.settimeout(60)
    listener.bind(str(path))
    listener.listen()
    return listener


def settings_of(baud, parity, stop_bits):
    return gate.Settings(int(baud), parity[0].upper(), int(stop_bits))


def patient_project(path):
    """The project with a time-out that a slow board keeps."""
    project = json.loads(path.read_text(encoding="utf-8"))
    project["link"]["replyTimeoutMs"] = PATIENCE_MS
    return json.dumps(project).encode()


def try_machine(name, places):
    """Boots the machine and prints what its checks say. True when all of them passed."""
    started = time.monotonic()
    judge = Judge()
    console = places.work / f"{name}.log"
    with tempfile.TemporaryDirectory(prefix="board-") as folder, open(console, "w", encoding="utf-8") as log:
        try:
            Board(name, places, pathlib.Path(folder)).run(judge, log)
        except (OSError, RuntimeError, ValueError) as error:
            print(f"board.py: {error}", file=log)
    seconds = time.monotonic() - started
    complaint = judge.complaint()
    lines = console.read_text(encoding="utf-8").splitlines()
    if complaint:
        print(f"The end of {console}:", *lines[-200:], sep="\n")
        print(f"{name}: {complaint} ({seconds:.0f} s)")
    else:
        print(*(f"{name}: {line}" for line in lines if line.startswith("ok ")), sep="\n")
        print(f"{name}: {judge.passed} checks passed ({seconds:.0f} s)")
    sys.stdout.flush()
    return not complaint


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for place in ("kernel", "root", "sysroot", "station", "project", "work"):
        parser.add_argument("--" + place, type=pathlib.Path, required=True)
    parser.add_argument("machines", nargs="+", choices=MACHINES, metavar="MACHINE")
    places = parser.parse_args()
    # So that an emulator is ended in any case.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    results = [try_machine(name, places) for name in places.machines]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
