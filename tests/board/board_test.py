#!/usr/bin/env python3
"""What the checks on emulated boards rest on: the judge, the gate and the disk, without an emulator."""
import argparse
import contextlib
import io
import os
import pathlib
import random
import socket
import sys
import tempfile
import unittest
from unittest import mock

sys.dont_write_bytecode = True

import board
import disk
import gate
from gate import Settings


def judge_after(*lines):
    judge = board.Judge()
    for line in lines:
        judge.hear(line)
    return judge


class TheJudge(unittest.TestCase):
    def test_is_content_when_every_check_passed(self):
        self.assertEqual("", judge_after("ok one", "a word of the kernel", "ok two", "end 2").complaint())

    def test_notices_a_check_that_failed(self):
        self.assertEqual("1 of 2 checks failed", judge_after("ok one", "FAIL two", "end 2").complaint())

    def test_notices_a_failure_that_no_check_counted(self):
        self.assertEqual("1 of 1 checks failed", judge_after("FAIL a check notices", "ok one", "end 1").complaint())

    def test_notices_a_board_that_did_not_come_to_its_end(self):
        self.assertEqual("it did not come to its end", judge_after("ok one").complaint())
        self.assertEqual("it did not come to its end", judge_after("ok one", "end").complaint())

    def test_notices_a_check_that_was_not_heard_of(self):
        self.assertEqual("it made 2 checks, and 1 were heard of", judge_after("ok one", "end 2").complaint())

    def test_notices_that_nothing_was_checked(self):
        self.assertEqual("it made no check", judge_after("end 0").complaint())

    def test_hands_on_what_the_board_asks_for(self):
        judge = board.Judge()
        self.assertEqual(["line", "ttyS0"], judge.hear("ask line ttyS0"))
        self.assertEqual([], judge.hear("ok ask line ttyS0"))


NEEDED = Settings(19200, "E", 1)


class TheGate(unittest.TestCase):
    def through(self, told, needed=NEEDED):
        return gate.through(b"request", told, needed, random.Random(1))

    def test_lets_bytes_pass_on_the_right_settings(self):
        self.assertEqual((b"request", b""), self.through(NEEDED))

    def test_lets_bytes_pass_when_nothing_is_needed(self):
        self.assertEqual((b"request", b""), self.through(Settings(300, "N", 2), None))

    def test_takes_a_rate_that_a_receiver_takes(self):
        self.assertEqual((b"request", b""), self.through(Settings(19500, "E", 1)))

    def test_makes_noise_of_another_rate(self):
        for baud in (9600, 18800, 19600, 38400):
            passed, heard = self.through(Settings(baud, "E", 1))
            self.assertEqual((b"", 7), (passed, len(heard)), baud)
            self.assertNotEqual(b"request", heard)

    def test_lets_nothing_pass_with_another_character(self):
        for told in (Settings(19200, "O", 1), Settings(19200, "N", 1), Settings(19200, "E", 2), Settings(19200, "E", 1, 7)):
            self.assertEqual((b"", b""), self.through(told), told)

    def test_asks_for_the_settings_at_each_piece_of_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            trace = pathlib.Path(folder) / "trace.log"
            board_end, socket_end = socket.socketpair()
            station_end, line_end = socket.socketpair()
            for end in (board_end, station_end):
                end.settimeout(60)
            carrier = gate.Gate(socket_end, line_end.fileno(), gate.Told(gate.PciUart(), trace))
            carrier.need(NEEDED)
            carrier.start()
            board_end.sendall(b"wrong")
            self.assertEqual(5, len(board_end.recv(100)), "noise")
            self.assertTrue(carrier.all_held())
            trace.write_text("serial_update_parameters baudrate=19200 parity='E' data=8 stop=1\n", encoding="utf-8")
            board_end.sendall(b"right")
            self.assertEqual(b"right", station_end.recv(100))
            self.assertFalse(carrier.all_held())
            station_end.sendall(b"reply")
            self.assertEqual(b"reply", board_end.recv(100))
            board_end.close()
            carrier.join(60)
            self.assertFalse(carrier.is_alive())
            for end in (socket_end, station_end, line_end):
                end.close()

    def test_refuses_to_judge_a_port_of_which_nothing_is_told(self):
        with self.assertRaises(ValueError):
            gate.Gate(None, None).need(NEEDED)


def told_by(chip, *lines):
    settings = gate.NOTHING_TOLD
    for line in lines:
        settings = chip.after(settings, line)
    return settings


class TheTrace(unittest.TestCase):
    def test_of_the_16550a_has_all_settings_in_a_line(self):
        self.assertEqual(Settings(19200, "E", 1), told_by(
            gate.PciUart(), "serial_update_parameters baudrate=9600 parity='N' data=8 stop=2",
            "serial_update_parameters baudrate=19200 parity='E' data=8 stop=1"))

    def test_of_the_converter_has_rate_and_character_in_lines_of_their_own(self):
        self.assertEqual(Settings(38400, "O", 2), told_by(
            gate.UsbConverter(), "usb_serial_set_baud dev 1:2 baud rate 38400",
            "usb_serial_set_data dev 1:2 parity O, data bits 8, stop bits 2",
            "usb_serial_set_flow_control dev 1:2 index 0"))

    def test_of_the_pl011_has_registers(self):
        # 24 MHz / 16 / (78 + 8/64) is 19200; 0x76 is 8 bits, even parity and the FIFO, 0x6a no parity bit but two stop bits.
        lines = ["pl011_write addr 0x024 value 0x0000004e reg IBRD", "pl011_write addr 0x028 value 0x00000008 reg FBRD"]
        self.assertEqual(Settings(19200, "E", 1), told_by(gate.Pl011(), *lines, "pl011_write addr 0x02c value 0x00000076"))
        self.assertEqual(Settings(19200, "O", 2), told_by(gate.Pl011(), *lines, "pl011_write addr 0x02c value 0x0000007a"))
        self.assertEqual(Settings(19200, "N", 2), told_by(gate.Pl011(), *lines, "pl011_write addr 0x02c value 0x00000078"))

    def test_that_is_half_a_line_says_nothing_yet(self):
        with tempfile.TemporaryDirectory() as folder:
            trace = pathlib.Path(folder) / "trace.log"
            told = gate.Told(gate.PciUart(), trace)
            self.assertEqual(gate.NOTHING_TOLD, told.settings())
            with open(trace, "w", encoding="utf-8") as stream:
                stream.write("serial_update_parameters baudrate=19200 parity='E' data=8 sto")
                stream.flush()
                self.assertEqual(gate.NOTHING_TOLD, told.settings())
                stream.write("p=1\n")
                stream.flush()
                self.assertEqual(NEEDED, told.settings())


class TheDisk(unittest.TestCase):
    def test_is_a_newc_archive(self):
        stream = io.BytesIO()
        archive = disk.Archive(stream)
        archive.file("a", b"hello", 0o644)
        archive.device("c", (5, 1))
        archive.close()
        # Number, mode, owner, group, links, time, size, disk (2), device (2), length of the name, check sum.
        expected = (b"070701" b"00000001" b"000081A4" b"00000000" b"00000000" b"00000001" b"00000000" b"00000005"
                    b"00000000" b"00000000" b"00000000" b"00000000" b"00000002" b"00000000" b"a\0" b"hello\0\0\0"
                    b"070701" b"00000002" b"00002180" b"00000000" b"00000000" b"00000001" b"00000000" b"00000000"
                    b"00000000" b"00000000" b"00000005" b"00000001" b"00000002" b"00000000" b"c\0"
                    b"070701" b"00000003" b"00000000" b"00000000" b"00000000" b"00000001" b"00000000" b"00000000"
                    b"00000000" b"00000000" b"00000000" b"00000000" b"0000000B" b"00000000" b"TRAILER!!!\0\0\0\0")
        self.assertEqual(expected, stream.getvalue())


# In the emulator's place: takes the lines of the board, prints what BOARD_SAYS, and waits to be ended.
EMULATOR = """#!/usr/bin/env python3
import os, socket, sys
line = socket.socket(socket.AF_UNIX)
control = socket.socket(socket.AF_UNIX)
for word in sys.argv:
    if word.startswith("socket,"):
        line.connect(word.partition("path=")[2])
    if word.startswith("unix:"):
        control.connect(word[5:])
print(os.environ["BOARD_SAYS"], flush=True)
control.sendall(b'{"QMP": {}}\\n')
control.recv(1000)
control.sendall(b'{"return": {}}\\n')
if "end" in os.environ["BOARD_SAYS"]:
    sys.stdin.read()
"""


class NoStation:
    def __init__(self, *_):
        self.line = os.open("/dev/null", os.O_RDWR)

    def close(self):
        os.close(self.line)


class AMachine(unittest.TestCase):
    def try_one(self, said):
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            emulator = folder / "qemu-system-arm"
            emulator.write_text(EMULATOR, encoding="utf-8")
            emulator.chmod(0o755)
            places = argparse.Namespace(kernel=folder, root=folder, sysroot=folder, station="", work=folder,
                                        project=folder / "project.json")
            places.project.write_text('{"link": {}}', encoding="utf-8")
            environment = {"PATH": f"{folder}:{os.environ['PATH']}", "BOARD_SAYS": said}
            told = io.StringIO()
            with mock.patch.dict(os.environ, environment), mock.patch("disk.write_disk"), \
                    mock.patch("board.Station", NoStation), contextlib.redirect_stdout(told):
                return board.try_machine("vexpress", places), told.getvalue()

    def test_passes_when_every_check_passed(self):
        passed, told = self.try_one("ok this\nok that\nend 2")
        self.assertTrue(passed, told)
        self.assertRegex(told, r"^vexpress: ok this\nvexpress: ok that\nvexpress: 2 checks passed \(\d+ s\)\n$")

    def test_fails_with_its_console_when_a_check_failed(self):
        passed, told = self.try_one("ok this\nFAIL that\n    a command\nend 2")
        self.assertFalse(passed)
        self.assertRegex(told, r"FAIL that\n    a command\nend 2\nvexpress: 1 of 2 checks failed \(\d+ s\)\n$")

    def test_fails_when_its_emulator_ends_early(self):
        passed, told = self.try_one("ok this")
        self.assertFalse(passed)
        self.assertIn("vexpress: it did not come to its end", told)


if __name__ == "__main__":
    unittest.main()
