// NOR flash memories.
#pragma once

#include "board/board.hpp"
#include "board/document.hpp"

namespace sim {

void readNorFlash(Object& object, DeviceBoard<SpiDevice>& board);

} // namespace sim
