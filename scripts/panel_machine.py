"""The machine behind scripts/panel: eight simulated stations that do what a packaging line does.

usage: panel_machine.py PLCSTATION LINK [FAULT]

Starts PLCSTATION with the stations of docs/examples/packaging_line.json on LINK and moves what they hold: Start and Stop
work, the speed follows its set point, things grow warm. A FAULT comes after 5 s, goes 30 s later, and comes again. Ends
with its standard input.
"""
import math
import select
import subprocess
import sys
import time

TICK = 0.25
STATIONS = range(1, 9)
FAULTS = {  # what comes, and what ends it; the port is pulled out in another way
    "dead-station": (["dead 3"], ["alive 3"]),
    "refused-writes": (["refuse-writes 1"], ["alive 1"]),
    "refused-reads": (["refuse 3"], ["alive 3"]),
    "alarm": (["set 1 4x:5002 3"], ["set 1 4x:5002 0"]),
    "lost-port": ([], []),
}
FAULT_AFTER, FAULT_LASTS, FAULT_PAUSE = 5, 30, 30
# Set points of station 1 from 4x:1000 on, every second register.
SETTINGS = [90, 15, 30, 40, 800, 120, 850, 600, 300, 200, 5, 8, 4, 9, 60, 10]


class Stations:
    def __init__(self, program, link):
        self._command = [program, "-a", "1-8", "--commands", "--die-with-parent", "-q", "--link", link]
        self._process = None

    def plug_in(self):
        self._process = subprocess.Popen(self._command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self._process.stdout.readline()  # the name of the terminal
        for i, value in enumerate(SETTINGS):
            self.say(f"set 1 4x:{1000 + 2 * i} {value}")

    def pull_out(self):
        self._process.terminate()
        self._process.wait()
        self._process = None

    def is_there(self):
        return self._process is not None

    def say(self, command):
        self._process.stdin.write(command + "\n")

    def ask(self, place):
        self.say("get 1 " + place)
        return [int(word) for word in self._process.stdout.readline().split()[2:]]


class Line:
    def __init__(self, stations):
        self._stations = stations
        self._speed = 84.0
        self._is_running = True
        self._warmth = 0.6
        self._level = 72.0
        self._time = 0.0

    def step(self):
        self._time += TICK
        start, stop = self._stations.ask("0x:0 2")
        if start or stop:
            self._is_running = bool(start) and not stop
            self._stations.say("set 1 0x:0 0 0")
        target = self._stations.ask("4x:1000")[0] if self._is_running else 0
        self._speed += max(-5.0, min(2.5, target - self._speed)) * TICK * 2
        share = self._speed / 100
        self._warmth += (share - self._warmth) * TICK / 60
        self._level += (0.9 if self._level < 40 or self._level_rises() else -0.7 * share) * TICK
        self._level = max(5.0, min(95.0, self._level))
        for number in STATIONS:
            self._show(number, share)

    def _level_rises(self):
        return math.sin(self._time / 25) > 0.3

    def _show(self, number, share):
        def wave(period, size):
            return size * math.sin(self._time / period + number * 1.7)

        moves = self._speed > 1
        speed = self._speed + (wave(3, 1.2) if moves else 0)
        state = 2 if self._is_running and moves else 1 if self._is_running else 0
        if number == 8 and state == 2 and math.sin(self._time / 20) > 0.6:
            state = 3
        inputs = [0, 0, 0, 1, 1, int(moves), int(moves), 0]
        actual = [speed * 12, share * 620 + wave(5, 20), share * 95 + 12 + wave(4, 4), 250 + 420 * self._warmth + wave(30, 8),
                  230 + 260 * self._warmth + wave(40, 5), 400 + wave(9, 3), 620 + wave(6, 12), 640 + wave(7, 20), 210, 224]
        good = max(0, min(1000, 965 + wave(15, 12))) if moves else 0
        fill = self._level * 10 if number == 3 else 600 + wave(50, 150)
        for place, values in (("1x:0", inputs), ("3x:0", actual), ("3x:17", [fill]), ("4x:2000", [state, 0, 1]),
                              ("4x:3000", [speed, 12, good, 500])):
            self._stations.say(f"set {number} {place} " + " ".join(str(int(value)) for value in values))
        if number == 1:
            self._stations.say(f"set 1 0x:8 0 {int(state == 1)} {int(state == 2)}")
            self._stations.say(f"set 1 4x:5000 {int(speed)}")


def main():
    program, link = sys.argv[1:3]
    fault = sys.argv[3] if len(sys.argv) > 3 else None
    stations = Stations(program, link)
    stations.plug_in()
    line = Line(stations)
    print("ready", flush=True)
    began, is_bad = time.monotonic(), False
    while not select.select([sys.stdin], [], [], TICK)[0]:
        if stations.is_there():
            line.step()
        since = time.monotonic() - began - FAULT_AFTER
        wants_bad = fault is not None and since >= 0 and since % (FAULT_LASTS + FAULT_PAUSE) < FAULT_LASTS
        if wants_bad == is_bad:
            continue
        is_bad = wants_bad
        if fault == "lost-port":
            stations.pull_out() if is_bad else stations.plug_in()
        for command in FAULTS[fault][0 if is_bad else 1]:
            stations.say(command)
    if stations.is_there():
        stations.pull_out()


main()
