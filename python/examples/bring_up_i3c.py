"""Brings an I3C bus up, shows who is on it, and waits for an in-band interrupt."""

from tarvix import Adapter, I3cEvents, I3cTarget, Nack


def main() -> None:
    """Prints the targets and the interrupt."""
    with Adapter() as adapter:
        bus = adapter.i3c
        adapter.rails.i3c.set_millivolts(1800)
        bus.configure()
        bus.init_bus([I3cTarget(static_address=0x30, dynamic_address=0x0A)])  # the others by ENTDAA
        bus.entdaa()
        for target in bus.targets():
            try:
                speed = bus.getmxds(target.dynamic_address).hex(" ")
            except Nack:
                speed = "no limit"
            print(f"{target.dynamic_address:#04x}: PID {target.pid.hex()}, BCR {target.bcr:#04x}, max speed {speed}")
        bus.write(0x0A, b"\xca\xfe", register=0x00)
        print("registers 0, 1:", bus.read(0x0A, 2, register=0x00).hex(" "))
        bus.enec(I3cEvents.IN_BAND_INTERRUPT, 0x0A)
        with bus.interrupts(0x0A) as interrupts:
            bus.write(0x0A, [2], register=0x80)  # has the virtual target interrupt with two bytes
            print("interrupt with", interrupts.next(timeout=5).payload.hex(" "))


if __name__ == "__main__":
    main()
