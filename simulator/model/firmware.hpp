// All that the adapter itself knows, from one restart to the next.
#pragma once

#include "bench/bench.hpp"
#include "model/ccc.hpp"
#include "model/command_table.hpp"
#include "model/gpio.hpp"
#include "model/i2c.hpp"
#include "model/i3c.hpp"
#include "model/i3c_bus.hpp"
#include "model/notifications.hpp"
#include "model/probe.hpp"
#include "model/spi.hpp"
#include "model/system.hpp"
#include "model/uart.hpp"
#include "model/voltage.hpp"

namespace sim {

// Its parts refer to each other, so it stays where it was made.
struct Firmware {
    Firmware(const AdapterBoard& board, Bench& bench, Probe* probe)
        : system{.strings = {board.manufacturer, board.product, board.serialNumber, board.firmware, board.hardware}},
          voltage(board.voltage),
          gpio(notifications, bench.pins()),
          i2c{.ports = bench.i2cPorts(), .probe = probe},
          spi{.devices = bench.spiDevices(), .probe = probe},
          uart{.notifications = notifications, .peer = bench.uartPeer(), .sent = bench.uartSent(), .probe = probe},
          i3cBus(bench.i3cTargets(), bench.legacyDevices(), notifications),
          i3c{.bus = i3cBus}
    {
    }
    Firmware(const Firmware&) = delete;
    Firmware& operator=(const Firmware&) = delete;

    void addCommands(CommandTable& table)
    {
        addSystemCommands(table, system);
        addVoltageCommands(table, voltage);
        addGpioCommands(table, gpio);
        addI2cCommands(table, i2c);
        addSpiCommands(table, spi);
        addUartCommands(table, uart);
        addI3cCommands(table, i3c);
        addCccCommands(table, i3cBus);
    }

    Notifications notifications;
    System system;
    Voltage voltage;
    Gpio gpio;
    I2c i2c;
    Spi spi;
    Uart uart;
    I3cBus i3cBus;
    I3c i3c;
};

} // namespace sim
