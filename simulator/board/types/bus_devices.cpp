#include "board/types/bus_devices.hpp"

#include "devices/eeprom.hpp"
#include "devices/temperature_sensor.hpp"

namespace sim {

void readEeprom(Object& object, DeviceBoard<BusDevice>& board)
{
    Eeprom::Geometry geometry{};
    geometry.size = object.get("size").number(1, 0x100'0000);
    geometry.pageSize = object.get("page").number(1, geometry.size);
    geometry.addressBytes = object.get("address_bytes").number(1, 4);
    board.make = [geometry](World&) { return std::make_unique<Eeprom>(geometry); };
}

void readTemperatureSensor(Object&, DeviceBoard<BusDevice>& board)
{
    board.make = [](World&) { return std::make_unique<TemperatureSensor>(); };
}

} // namespace sim
