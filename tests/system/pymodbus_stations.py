"""Stations built on pymodbus, as independent witnesses: they serve a pseudo-terminal, whose name is printed first.

pymodbus_stations.py STATION...

Each station has 100 of everything; holding register i of station n holds 100 * n + i. Frames are taken apart, carried out
and answered by pymodbus.
"""
import os
import sys
import tty

from pymodbus.datastore import ModbusSequentialDataBlock, ModbusServerContext, ModbusSlaveContext
from pymodbus.factory import ServerDecoder
from pymodbus.framer.rtu_framer import ModbusRtuFramer

COUNT = 100


def main():
    numbers = [int(word) for word in sys.argv[1:]]

    def store(number):
        return ModbusSlaveContext(hr=ModbusSequentialDataBlock(0, [100 * number + i for i in range(COUNT)]), zero_mode=True)

    stations = ModbusServerContext(slaves={number: store(number) for number in numbers}, single=False)
    line, terminal = os.openpty()
    tty.setraw(terminal)  # which stays open, so that plchost may come and go
    print(os.ttyname(terminal), flush=True)
    framer = ModbusRtuFramer(ServerDecoder())

    def answer(request):
        if request.unit_id not in numbers:
            return
        response = request.execute(stations[request.unit_id])
        response.unit_id = request.unit_id
        response.transaction_id = request.transaction_id
        os.write(line, framer.buildPacket(response))

    while True:
        framer.processIncomingPacket(os.read(line, 256), answer, unit=[0] + list(range(1, 248)))


main()
