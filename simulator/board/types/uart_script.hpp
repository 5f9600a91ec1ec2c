// A UART peer that follows a script.
#pragma once

#include "board/board.hpp"
#include "board/document.hpp"

namespace sim {

void readUartScript(Object& object, DeviceBoard<UartPeer>& board);

} // namespace sim
