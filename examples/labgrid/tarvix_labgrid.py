"""The adapter in labgrid: a resource, a driver that opens it, and one of its pins as a digital output."""

import attr
from labgrid.driver import Driver
from labgrid.factory import target_factory
from labgrid.protocol import DigitalOutputProtocol
from labgrid.resource import Resource

import tarvix


@target_factory.reg_resource
@attr.s(eq=False)
class TarvixAdapter(Resource):
    """An adapter of this machine, or one imported from another.

    Args:
        serial (str): its serial number; may be left out when there is only one
    """

    serial = attr.ib(default=None, validator=attr.validators.optional(attr.validators.instance_of(str)))


@target_factory.reg_driver
@attr.s(eq=False)
class TarvixDriver(Driver):
    """Keeps the adapter open while it is active. Nobody else can open it meanwhile."""

    bindings = {"resource": TarvixAdapter}

    def on_activate(self):
        self.adapter = tarvix.Adapter(serial=self.resource.serial)

    def on_deactivate(self):
        self.adapter.close()


@target_factory.reg_driver
@attr.s(eq=False)
class TarvixPinDriver(Driver, DigitalOutputProtocol):
    """A pin that switches something: a board's power, a reset line.

    Args:
        pin (int): its number
    """

    bindings = {"tarvix": TarvixDriver}
    pin = attr.ib(validator=attr.validators.instance_of(int))

    def on_activate(self):
        self.tarvix.adapter.gpio[self.pin].output(False)

    @Driver.check_active
    def set(self, status):
        self.tarvix.adapter.gpio[self.pin].write(status)

    @Driver.check_active
    def get(self):
        return bool(self.tarvix.adapter.gpio[self.pin].read())
