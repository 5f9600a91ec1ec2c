// The requests that carry the caller's bytes, wherever these lie: in the vectors of the classes or in the memory that a
// flat function was given. They go from there into the frame and nowhere else.
#pragma once

#include <cstdint>
#include <span>

#include "async/request_frame.hpp"

namespace requests {

using Bytes = std::span<const std::uint8_t>;

RequestFrame i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress, Bytes registerAddress,
                      Bytes data, bool flag);
RequestFrame i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress, Bytes registerAddress,
                     std::uint16_t length, bool flag);
RequestFrame spiTransfer(TransactionId transactionId, Bytes data, std::uint16_t transferLength);
RequestFrame uartSendMessage(TransactionId transactionId, Bytes message);
RequestFrame i3cInitBus(TransactionId transactionId, std::span<const I3cTargetInfo> targets);
RequestFrame i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                        std::uint16_t length, I3cTransferFlags flags);
RequestFrame i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress, Bytes data,
                         I3cTransferFlags flags);
RequestFrame i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command, Bytes data);
RequestFrame i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                              std::uint16_t length, I3cTransferFlags flags);
RequestFrame i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress, Bytes registerAddress,
                               Bytes data, I3cTransferFlags flags);
RequestFrame i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferDirection direction,
                            I3cTransferMode mode, bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                            std::uint8_t definingByte, Bytes data);

} // namespace requests
