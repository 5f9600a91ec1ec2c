// Devices that are programs of the user's; docs/devices-in-your-language.md.
#pragma once

#include "board/board.hpp"
#include "board/document.hpp"

namespace sim {

void readProcess(Object& object, DeviceBoard<BusDevice>& board);
void readProcess(Object& object, DeviceBoard<SpiDevice>& board);
void readProcess(Object& object, DeviceBoard<UartPeer>& board);

} // namespace sim
