"""Between a port of the emulated board and its station: a line on which only what has the station's settings is understood."""
import dataclasses
import os
import random
import re
import select
import threading

RATE_TOLERANCE = 0.02  # a receiver samples the tenth bit of a character still inside it


@dataclasses.dataclass(frozen=True)
class Settings:
    """What a chip was told, or what a station needs. 8 data bits are part of everything here."""
    baud: int
    parity: str  # N, E or O
    stop_bits: int
    data_bits: int = 8

    def __str__(self):
        return f"{self.baud} {self.data_bits}{self.parity}{self.stop_bits}"

    def has_rate_of(self, other):
        return abs(self.baud - other.baud) <= RATE_TOLERANCE * other.baud

    def has_character_of(self, other):
        return (self.parity, self.stop_bits, self.data_bits) == (other.parity, other.stop_bits, other.data_bits)


PATIENCE = 60  # seconds

NOTHING_TOLD = Settings(0, "N", 1)


class PciUart:
    """The trace of the 16550A names all settings at once."""
    EVENTS = ("serial_update_parameters",)

    def after(self, settings, line):
        found = re.search(r"serial_update_parameters.*baudrate=(\d+) parity='?(.)'? data=(\d) stop=(\d)", line)
        return Settings(int(found[1]), found[2], int(found[4]), int(found[3])) if found else settings


class UsbConverter:
    """The converter is told rate and character one after the other."""
    EVENTS = ("usb_serial_set*",)

    def after(self, settings, line):
        if found := re.search(r"usb_serial_set_baud.* baud rate (\d+)", line):
            return dataclasses.replace(settings, baud=int(found[1]))
        if found := re.search(r"usb_serial_set_data.* parity (.), data bits (\d), stop bits (\d)", line):
            return dataclasses.replace(settings, parity=found[1], data_bits=int(found[2]), stop_bits=int(found[3]))
        return settings


class Pl011:
    """Registers as they are written. The console is such a chip too, but nobody changes its settings any more."""
    EVENTS = ("pl011_write",)
    CLOCK = 24000000
    WHOLE_DIVISOR, DIVISOR_FRACTION, LINE_CONTROL = 0x24, 0x28, 0x2C

    def __init__(self):
        self._whole = self._fraction = 0

    def after(self, settings, line):
        found = re.search(r"pl011_write addr 0x([0-9a-f]+) value 0x([0-9a-f]+)", line)
        if not found:
            return settings
        register, value = int(found[1], 16), int(found[2], 16)
        if register == self.WHOLE_DIVISOR:
            self._whole = value
        elif register == self.DIVISOR_FRACTION:
            self._fraction = value
        elif register == self.LINE_CONTROL:
            divisor = 64 * self._whole + self._fraction
            return Settings(4 * self.CLOCK // divisor if divisor else 0,
                            "N" if not value & 2 else "E" if value & 4 else "O",
                            2 if value & 8 else 1, 5 + (value >> 5 & 3))
        return settings


class Told:
    """What the driver on the board has told its chip, from the emulator's trace."""

    def __init__(self, chip, path):
        self._chip = chip
        self._path = path
        self._read = 0
        self._settings = NOTHING_TOLD

    def settings(self):
        """The settings at this moment: the emulator writes its trace before the bytes that come with them."""
        if not os.path.exists(self._path):
            return self._settings
        with open(self._path, "rb") as trace:
            trace.seek(self._read)
            whole, end, _ = trace.read().rpartition(b"\n")
        self._read += len(whole + end)
        for line in whole.decode(errors="replace").splitlines():
            self._settings = self._chip.after(self._settings, line)
        return self._settings


def through(data, told, needed, noise):
    """What arrives of `data`, and what the sender's side hears of it itself.

    With a wrong rate a receiver sees other bytes, and with the right rate and a wrong character none, since parity or
    stop bit are missing.
    """
    if needed is None or (told.has_rate_of(needed) and told.has_character_of(needed)):
        return data, b""
    return b"", b"" if told.has_rate_of(needed) else noise.randbytes(len(data))


class Gate(threading.Thread):
    """Carries bytes between a socket of the emulator and a station until one of them closes."""

    def __init__(self, connection, station, told=None):
        super().__init__(daemon=True)
        self._connection = connection
        self._station = station
        self._told = told
        self._noise = random.Random(1)
        self._changed = threading.Condition()
        self._needed = None
        self._passed = self._held = 0  # bytes since need() or all_held()

    def need(self, settings):
        """From now on these settings are needed; None lets everything through."""
        if settings is not None and self._told is None:
            raise ValueError("the emulator tells nothing of this port")
        with self._changed:
            self._needed = settings
            self._passed = self._held = 0

    def all_held(self):
        """Waits until bytes of the board were held back. Returns whether none have passed."""
        with self._changed:
            if not self._changed.wait_for(lambda: self._held or self._passed, PATIENCE):
                return False
            all_held = not self._passed
            self._passed = self._held = 0
        return all_held

    def run(self):
        poll = select.poll()
        poll.register(self._connection, select.POLLIN)
        poll.register(self._station, select.POLLIN)
        try:
            while True:
                for descriptor, _ in poll.poll():
                    if not self._carry(descriptor == self._connection.fileno()):
                        return
        except OSError:
            return

    def _carry(self, from_board):
        data = self._connection.recv(4096) if from_board else os.read(self._station, 4096)
        if not data:
            return False
        told = self._told.settings() if self._told else NOTHING_TOLD
        with self._changed:
            passed, heard = through(data, told, self._needed, self._noise)
            self._passed += len(passed)
            self._held += len(data) - len(passed)
            self._changed.notify_all()
        if from_board:
            os.write(self._station, passed)
            self._connection.sendall(heard)
        else:
            self._connection.sendall(passed + heard)
        return True
