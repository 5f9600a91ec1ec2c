// The types of devices on two-wire buses: each reads its keys, and fills in `make`, and `lines` where it has some.
#pragma once

#include "board/board.hpp"
#include "board/document.hpp"

namespace sim {

void readEeprom(Object& object, DeviceBoard<BusDevice>& board);
void readGpioExpander(Object& object, DeviceBoard<BusDevice>& board);
void readRegisterMap(Object& object, DeviceBoard<BusDevice>& board);
void readTemperatureSensor(Object& object, DeviceBoard<BusDevice>& board);

} // namespace sim
