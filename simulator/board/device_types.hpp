// The types of devices that a board file can name.
#pragma once

#include "board/board.hpp"
#include "board/document.hpp"

namespace sim {

// Each reads a device from its object, all keys of which it knows: "type" says what else there is. The name that is
// not given is `name`.
DeviceBoard<BusDevice> readBusDevice(const Node& node, const std::string& name);
DeviceBoard<SpiDevice> readSpiDevice(const Node& node, const std::string& name);
DeviceBoard<UartPeer> readUartPeer(const Node& node, const std::string& name);
DeviceBoard<I3cTarget> readI3cTarget(const Node& node, const std::string& name);

} // namespace sim
