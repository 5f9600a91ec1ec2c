/**
 * @file
 * TarvixAsyncSDK: the adapter's commands without waiting.
 *
 * What a command does, its units, its ranges and its effect on the bus are described at the method of the same name of
 * `TarvixSDK` in sdk.hpp, whose conventions 4 to 7, 9 and 10 (threads, values, bus sequences, one program at a
 * time, memory, processes) hold here too. What differs:
 *
 * 1. **Commands** check the connection, then the arguments, encode one request frame, write it and return at once:
 *      - `StatusCode::NOT_CONNECTED` and `StatusCode::INVALID_ARGUMENT` as the blocking method, and nothing was sent;
 *      - `StatusCode::SUCCESS` when the frame was handed to the transport. A frame that is lost shows only as a missing
 *        response.
 * 2. **Responses.** Whatever the adapter sends, responses and notifications alike, reaches the handler set with
 *    `onResponse` as whole frames: bytes 0 and 1 the transaction id (0 for a notification), 2 and 3 the command or
 *    notification code, 4 and 5 the adapter's status, the payload from byte 6. Multi-byte fields are little-endian. A
 *    comment below names the payload of a response that has one; frames come from outside, so test their length.
 * 3. **Transaction ids** are the caller's choice, 1 to 65535, and are neither checked nor matched.
 * 4. **Threads.** Use a session, strict or plain, from one thread at a time. Its handler may send commands, since none
 *    waits for a response, as long as no other thread sends meanwhile.
 */
#ifndef TARVIXSDK_ASYNC_SDK_HPP
#define TARVIXSDK_ASYNC_SDK_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarvixsdk/adapters.hpp"
#include "tarvixsdk/types.h"

/** Non-blocking session with one adapter. Starts disconnected; the destructor disconnects. */
class TARVIX_API TarvixAsyncSDK {
public:
    /** Takes one whole frame; the bytes are valid during the call only. Runs on the reader thread. */
    using ResponseHandler = std::function<void(const std::vector<std::uint8_t>& frame)>;

    /** Takes the news that the adapter is lost. Runs on the reader thread. */
    using ConnectionLostHandler = std::function<void()>;

    TarvixAsyncSDK();
    ~TarvixAsyncSDK();
    TarvixAsyncSDK(const TarvixAsyncSDK&) = delete;
    TarvixAsyncSDK& operator=(const TarvixAsyncSDK&) = delete;

    /** @name Session */
    ///@{

    /** See `TarvixSDK::connect`. */
    bool connect(const std::string& path);

    /** See `TarvixSDK::connectWithSerialNumber`. */
    bool connectWithSerialNumber(const std::string& serialNumber);

    /** See `TarvixSDK::disconnect`. */
    void disconnect();

    /**
     * Opens an adapter and says why not. See `TarvixSDK::open`: of a strict session this class has that commands
     * return `StatusCode::ADAPTER_LOST` once the adapter is lost and `NO_RESPONSE` when the request could not be
     * written, and that segments outside a frame are dropped.
     */
    OpenResult open(const OpenOptions& options = {});

    /**
     * Whether an adapter is open. A plain session stays connected until `disconnect`, whatever becomes of the adapter;
     * a strict one ends when its adapter is lost.
     */
    bool isConnected() const;

    /**
     * Replaces the handler for received frames; an empty one drops them. Any thread may call this at any time, even the
     * handler itself. A call in progress finishes with the old handler.
     */
    void onResponse(ResponseHandler handler);

    /** See `TarvixSDK::onConnectionLost`. */
    void onConnectionLost(ConnectionLostHandler handler);

    /** The library's version, `TARVIXSDK_VERSION`. */
    static std::string getVersion();
    ///@}

    /** @name Adapter */
    ///@{

    /** See `TarvixSDK::resetDevice`. The adapter sends no response. */
    StatusCode resetDevice(TransactionId transactionId);

    /** See `TarvixSDK::enterBootMode`. The adapter sends no response. */
    StatusCode enterBootMode(TransactionId transactionId);

    /** See `TarvixSDK::getUsbString`. Response: the length plus 1 at byte 6, the string from byte 7. */
    StatusCode getUsbString(TransactionId transactionId, std::uint8_t index);
    ///@}

    /** @name Supply rails */
    ///@{

    /**
     * Measures both rails. Response: the shared rail at byte 6, the two readings of the I3C rail at bytes 8 and 10,
     * each 16 bits; see `TarvixSDK::gpioGetVoltage` and `TarvixSDK::i3cGetBusVoltage`.
     */
    StatusCode getAnalogMeasurements(TransactionId transactionId);

    /** See `TarvixSDK::gpioSetVoltage`. */
    StatusCode gpioSetVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    /** See `TarvixSDK::i2cSetBusVoltage`. */
    StatusCode i2cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    /** See `TarvixSDK::spiSetBusVoltage`. */
    StatusCode spiSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    /** See `TarvixSDK::uartSetBusVoltage`. */
    StatusCode uartSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);

    /** See `TarvixSDK::gpioUseExternalVoltage`. */
    StatusCode gpioUseExternalVoltage(TransactionId transactionId, bool useExternal);
    /** See `TarvixSDK::i2cUseExternalVoltage`. */
    StatusCode i2cUseExternalVoltage(TransactionId transactionId, bool useExternal);
    /** See `TarvixSDK::spiUseExternalVoltage`. */
    StatusCode spiUseExternalVoltage(TransactionId transactionId, bool useExternal);
    /** See `TarvixSDK::uartUseExternalVoltage`. */
    StatusCode uartUseExternalVoltage(TransactionId transactionId, bool useExternal);

    /** See `TarvixSDK::i3cSetBusVoltage`. */
    StatusCode i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage);

    /** See `TarvixSDK::i3cUseExternalVoltage`. */
    StatusCode i3cUseExternalVoltage(TransactionId transactionId, bool useExternal);
    ///@}

    /** @name GPIO */
    ///@{

    /** See `TarvixSDK::gpioConfigurePin`. */
    StatusCode gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber, GpioFunctionality functionality,
                                GpioLogicLevel logicLevel);

    /** See `TarvixSDK::gpioDigitalWrite`. */
    StatusCode gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber, GpioLogicLevel logicLevel);

    /** See `TarvixSDK::gpioDigitalRead`. Response: the level at byte 6. */
    StatusCode gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber);

    /** See `TarvixSDK::gpioConfigureInterrupt`. */
    StatusCode gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber,
                                      GpioTriggerType triggerType);

    /** See `TarvixSDK::gpioDisableInterrupt`. */
    StatusCode gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber);
    ///@}

    /** @name I2C */
    ///@{

    /** See `TarvixSDK::i2cControllerInit`. */
    StatusCode i2cControllerInit(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                 std::uint8_t option);

    /** See `TarvixSDK::i2cSetParameters`. */
    StatusCode i2cSetParameters(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                std::uint8_t option);

    /** See `TarvixSDK::i2cSetPullUpResistors`. */
    StatusCode i2cSetPullUpResistors(TransactionId transactionId, std::uint8_t bus, std::uint8_t pullUp);

    /** See `TarvixSDK::i2cWrite`. */
    StatusCode i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                        const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                        bool flag);

    /** See `TarvixSDK::i2cRead`. Response: the bytes from byte 9. */
    StatusCode i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                       const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, bool flag);

    /** See `TarvixSDK::i2cScanBus`; `bus` is not checked. Response: the counts at bytes 7 and 8, entries from byte 9.
     */
    StatusCode i2cScanBus(TransactionId transactionId, std::uint8_t bus, bool flag);
    ///@}

    /** @name SPI */
    ///@{

    /** See `TarvixSDK::spiControllerInit`. */
    StatusCode spiControllerInit(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                 SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                 SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);

    /** See `TarvixSDK::spiSetParameters`. */
    StatusCode spiSetParameters(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                std::uint32_t frequency);

    /** See `TarvixSDK::spiTransfer`. Response: the number of bytes at byte 6 (16 bits), the bytes from byte 8. */
    StatusCode spiTransfer(TransactionId transactionId, std::vector<std::uint8_t>& data, std::uint16_t transferLength);
    ///@}

    /** @name UART */
    ///@{

    /** See `TarvixSDK::uartInit`. */
    StatusCode uartInit(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                        UartParity parity, UartDataSize dataSize, UartStopBit stopBit);

    /** See `TarvixSDK::uartSetParameters`. */
    StatusCode uartSetParameters(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                 UartParity parity, UartDataSize dataSize, UartStopBit stopBit);

    /** See `TarvixSDK::uartDeinit`. */
    StatusCode uartDeinit(TransactionId transactionId);

    /** See `TarvixSDK::uartSendMessage`. */
    StatusCode uartSendMessage(TransactionId transactionId, const std::vector<std::uint8_t>& message);
    ///@}

    /** @name I3C controller, bus and targets */
    ///@{

    /**
     * See `TarvixSDK::i3cControllerInit`. The four bytes are the values of `I3cPushPullRate`,
     * `I3cOpenDrainTransferRate`, `I2cTransferRate` and `I3cDriveStrength`.
     */
    StatusCode i3cControllerInit(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate,
                                 std::uint8_t i2cRate, std::uint8_t driveStrength);

    /** See `TarvixSDK::i3cSetParameters`; bytes as for `i3cControllerInit`. */
    StatusCode i3cSetParameters(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate,
                                std::uint8_t i2cRate, std::uint8_t driveStrength);

    /** See `TarvixSDK::i3cInitBus`. */
    StatusCode i3cInitBus(TransactionId transactionId, std::vector<I3cTargetInfo> targets);

    /** See `TarvixSDK::i3cResetBus`. */
    StatusCode i3cResetBus(TransactionId transactionId);

    /** See `TarvixSDK::i3cGetDeviceTable`. Response: the number of records at byte 6, the records from byte 7. */
    StatusCode i3cGetDeviceTable(TransactionId transactionId);

    /** See `TarvixSDK::i3cSetTargetDeviceConfiguration`. */
    StatusCode i3cSetTargetDeviceConfiguration(TransactionId transactionId, std::uint8_t targetAddress,
                                               I3cTargetConfiguration configuration);

    /** See `TarvixSDK::i3cHdrExitPattern`. */
    StatusCode i3cHdrExitPattern(TransactionId transactionId);

    /** See `TarvixSDK::i3cTargetResetPattern`. */
    StatusCode i3cTargetResetPattern(TransactionId transactionId);
    ///@}

    /** @name I3C private transfers */
    ///@{

    /** See `TarvixSDK::i3cSdrRead`. Response: the number of bytes at byte 8 (16 bits), the bytes from byte 10. */
    StatusCode i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress,
                          const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                          I3cTransferFlags flags);

    /** See `TarvixSDK::i3cSdrWrite`. */
    StatusCode i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress,
                           const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                           I3cTransferFlags flags);

    /** See `TarvixSDK::i3cHdrDdrRead`. Response: the number of bytes at byte 8 (16 bits), the bytes from byte 10. */
    StatusCode i3cHdrDdrRead(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                             std::uint16_t length);

    /** See `TarvixSDK::i3cHdrDdrWrite`. */
    StatusCode i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                              const std::vector<std::uint8_t>& data);

    /** See `TarvixSDK::i3cLegacyI2cRead`. Response: the number of bytes at byte 8 (16 bits), the bytes from byte 10. */
    StatusCode i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress,
                                const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                I3cTransferFlags flags);

    /** See `TarvixSDK::i3cLegacyI2cWrite`. */
    StatusCode i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                 const std::vector<std::uint8_t>& registerAddress,
                                 const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    ///@}

    /**
     * @name I3C Common Command Codes
     *
     * Response of a read: the number of bytes at byte 9, the bytes from byte 10.
     */
    ///@{

    /** See `TarvixSDK::i3cCccTransfer`. Every method below is a fixed call of this one. */
    StatusCode i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferDirection direction,
                              I3cTransferMode mode, bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                              std::uint8_t definingByte, const std::vector<std::uint8_t>& data);

    /** See `TarvixSDK::i3cCccENECBroadcast`. */
    StatusCode i3cCccENECBroadcast(TransactionId transactionId, std::uint8_t events);
    /** See `TarvixSDK::i3cCccDISECBroadcast`. */
    StatusCode i3cCccDISECBroadcast(TransactionId transactionId, std::uint8_t events);
    /** See `TarvixSDK::i3cCccENTAS0Broadcast`. */
    StatusCode i3cCccENTAS0Broadcast(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccENTAS1Broadcast`. */
    StatusCode i3cCccENTAS1Broadcast(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccENTAS2Broadcast`. */
    StatusCode i3cCccENTAS2Broadcast(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccENTAS3Broadcast`. */
    StatusCode i3cCccENTAS3Broadcast(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccRSTDAA`. */
    StatusCode i3cCccRSTDAA(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccENTDAA`. */
    StatusCode i3cCccENTDAA(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccSETMWLBroadcast`. */
    StatusCode i3cCccSETMWLBroadcast(TransactionId transactionId, std::uint16_t maxWriteLength);
    /** See `TarvixSDK::i3cCccSETMRLBroadcast`. */
    StatusCode i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength,
                                     std::optional<std::uint8_t> maxIbiPayloadSize);
    /** See `TarvixSDK::i3cCccSETBUSCONBroadcast`. */
    StatusCode i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context,
                                        const std::optional<std::vector<std::uint8_t>>& extraData);
    /** See `TarvixSDK::i3cCccSETXTIMEBroadcast`. */
    StatusCode i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand,
                                       const std::optional<std::vector<std::uint8_t>>& extraData);
    /** See `TarvixSDK::i3cCccSETAASA`. */
    StatusCode i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data);
    /** See `TarvixSDK::i3cCccRSTACTBroadcast`. */
    StatusCode i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action);
    /** See `TarvixSDK::i3cCccRSTGRPABroadcast`. */
    StatusCode i3cCccRSTGRPABroadcast(TransactionId transactionId);
    /** See `TarvixSDK::i3cCccENECDirect`. */
    StatusCode i3cCccENECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    /** See `TarvixSDK::i3cCccDISECDirect`. */
    StatusCode i3cCccDISECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    /** See `TarvixSDK::i3cCccENTAS0Direct`. */
    StatusCode i3cCccENTAS0Direct(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccENTAS1Direct`. */
    StatusCode i3cCccENTAS1Direct(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccENTAS2Direct`. */
    StatusCode i3cCccENTAS2Direct(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccENTAS3Direct`. */
    StatusCode i3cCccENTAS3Direct(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccSETDASA`. */
    StatusCode i3cCccSETDASA(TransactionId transactionId, std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    /** See `TarvixSDK::i3cCccSETNEWDA`. */
    StatusCode i3cCccSETNEWDA(TransactionId transactionId, std::uint8_t address, std::uint8_t newDynamicAddress);
    /** See `TarvixSDK::i3cCccSETMWLDirect`. */
    StatusCode i3cCccSETMWLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxWriteLength);
    /** See `TarvixSDK::i3cCccSETMRLDirect`. */
    StatusCode i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxReadLength,
                                  std::optional<std::uint8_t> maxIbiPayloadSize);
    /** See `TarvixSDK::i3cCccSETXTIMEDirect`. */
    StatusCode i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t subcommand,
                                    const std::optional<std::vector<std::uint8_t>>& extraData);
    /** See `TarvixSDK::i3cCccSETGRPADirect`. */
    StatusCode i3cCccSETGRPADirect(TransactionId transactionId, std::uint8_t address, std::uint8_t groupAddress);
    /** See `TarvixSDK::i3cCccRSTGRPADirect`. */
    StatusCode i3cCccRSTGRPADirect(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccRSTACTDirect`. */
    StatusCode i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address, I3cTargetResetDefByte action,
                                  I3cTransferDirection direction);
    /** See `TarvixSDK::i3cCccGETMWL`. */
    StatusCode i3cCccGETMWL(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccGETMRL`. */
    StatusCode i3cCccGETMRL(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccGETPID`. */
    StatusCode i3cCccGETPID(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccGETBCR`. */
    StatusCode i3cCccGETBCR(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccGETDCR`. */
    StatusCode i3cCccGETDCR(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccGETSTATUS`. */
    StatusCode i3cCccGETSTATUS(TransactionId transactionId, std::uint8_t address,
                               std::optional<std::uint8_t> definingByte);
    /** See `TarvixSDK::i3cCccGETMXDS`. */
    StatusCode i3cCccGETMXDS(TransactionId transactionId, std::uint8_t address);
    /** See `TarvixSDK::i3cCccGETCAPS`. */
    StatusCode i3cCccGETCAPS(TransactionId transactionId, std::uint8_t address,
                             std::optional<std::uint8_t> definingByte);
    /** See `TarvixSDK::i3cCccGETXTIME`. */
    StatusCode i3cCccGETXTIME(TransactionId transactionId, std::uint8_t address);
    ///@}

private:
    friend class TarvixSDK;

    struct State;
    std::unique_ptr<State> state_;
};

#endif
