"""A Modbus RTU station built on pymodbus, as an independent witness: it serves a pseudo-terminal, and names it in its first line.

It is station 9, knows the device identification (43/14), the server id (17) and the echo test (8/0), and has holding registers 40
to 139 and 145 to 244 alone. Frames are taken apart and made by pymodbus, too.
"""
import os
import select
import sys
import tty

from pymodbus.datastore import ModbusSequentialDataBlock, ModbusSlaveContext, ModbusSparseDataBlock
from pymodbus.device import ModbusControlBlock
from pymodbus.factory import ServerDecoder
from pymodbus.framer.rtu_framer import ModbusRtuFramer

STATION = 9
SILENCE = 0.02


def control_block():
    control = ModbusControlBlock()
    identity = control.Identity
    identity.VendorName = "Witness"
    identity.ProductCode = "PM"
    identity.MajorMinorRevision = "3.0"
    identity.VendorUrl = "http://witness.example"
    identity.ProductName = "Station of another maker"
    identity.ModelName = "Nine"


def context():
    registers = dict.fromkeys([*range(40, 140), *range(145, 245)], 7)
    return ModbusSlaveContext(
        hr=ModbusSparseDataBlock(registers), ir=ModbusSequentialDataBlock(0, [1] * 10), di=ModbusSequentialDataBlock(0, [0] * 10),
        co=ModbusSequentialDataBlock(0, [0] * 10), zero_mode=True)


def frames_of(line):
    """Frames, as the silence behind each tells them."""
    data = b""
    while True:
        ready, _, _ = select.select([line], [], [], SILENCE if data else None)
        if ready:
            data += os.read(line, 300)
        else:
            yield data
            data = b""


def main():
    line, other = os.openpty()
    tty.setraw(other)
    control_block()
    station = context()
    framer = ModbusRtuFramer(ServerDecoder())
    print(os.ttyname(other), flush=True)
    for frame in frames_of(line):
        answers = []

        def answer(request):
            reply = request.execute(station)
            reply.unit_id = request.unit_id
            reply.transaction_id = request.transaction_id
            answers.append(framer.buildPacket(reply))

        framer.processIncomingPacket(frame, answer, STATION)
        framer.resetFrame()
        for packet in answers:
            os.write(line, packet)


sys.exit(main())
