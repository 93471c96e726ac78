"""A master built on pymodbus, as an independent witness of values: it reads or writes some of one type.

pymodbus_master.py PORT STATION read ADDRESS TYPE WORDORDER COUNT     prints the values, one a line
pymodbus_master.py PORT STATION write ADDRESS TYPE WORDORDER VALUE...

TYPE is i16, u16, i32, u32, f32, i64, u64, f64, or strN, a text of N characters, N even. WORDORDER is big (the upper half at
the lower address) or little; the bytes of a register always are big. How values become registers is pymodbus' affair.
"""
import sys

from pymodbus.client import ModbusSerialClient
from pymodbus.constants import Endian
from pymodbus.payload import BinaryPayloadBuilder, BinaryPayloadDecoder

REGISTERS = {"i16": 1, "u16": 1, "i32": 2, "u32": 2, "f32": 2, "i64": 4, "u64": 4, "f64": 4}
NAMES = {
    "i16": "16bit_int", "u16": "16bit_uint", "i32": "32bit_int", "u32": "32bit_uint", "f32": "32bit_float",
    "i64": "64bit_int", "u64": "64bit_uint", "f64": "64bit_float",
}


def registers_of(kind):
    return int(kind[3:]) // 2 if kind.startswith("str") else REGISTERS[kind]


def decode(registers, kind, order, count):
    decoder = BinaryPayloadDecoder.fromRegisters(registers, byteorder=Endian.Big, wordorder=order)
    if kind.startswith("str"):
        return [decoder.decode_string(int(kind[3:])).decode("latin-1").rstrip("\0") for _ in range(count)]
    return [getattr(decoder, "decode_" + NAMES[kind])() for _ in range(count)]


def encode(values, kind, order):
    builder = BinaryPayloadBuilder(byteorder=Endian.Big, wordorder=order)
    for value in values:
        if kind.startswith("str"):
            builder.add_string(value.ljust(int(kind[3:]), "\0"))
        else:
            getattr(builder, "add_" + NAMES[kind])(float(value) if kind[0] == "f" else int(value))
    return builder.to_registers()


def main():
    port, station, action, address, kind, order = sys.argv[1:7]
    words = Endian.Big if order == "big" else Endian.Little
    # A pseudo-terminal has no parity, and the C library says so.
    client = ModbusSerialClient(port=port, baudrate=19200, parity="N", timeout=10)
    if not client.connect():
        sys.exit("the port cannot be opened")
    if action == "read":
        count = int(sys.argv[7])
        answer = client.read_holding_registers(int(address), registers_of(kind) * count, slave=int(station))
        if answer.isError():
            sys.exit(str(answer))
        for value in decode(answer.registers, kind, words, count):
            sys.stdout.buffer.write(f"{value}\n".encode())
    else:
        answer = client.write_registers(int(address), encode(sys.argv[7:], kind, words), slave=int(station))
        if answer.isError():
            sys.exit(str(answer))
    client.close()


main()
