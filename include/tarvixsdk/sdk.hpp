/**
 * @file
 * TarvixSDK: the adapter's commands as blocking calls.
 *
 * Conventions that hold for every method:
 *
 * 1. **Commands** mirror the method of the same name of `TarvixAsyncSDK`, where the arguments and their checks are
 *    described: they number the request, send it, wait for the next response and decode it. They return
 *      - `StatusCode::NOT_CONNECTED` or `StatusCode::INVALID_ARGUMENT` as the asynchronous method does, and
 *        nothing was sent;
 *      - `StatusCode::NO_RESPONSE` when no response arrived within the session's timeout;
 *      - `StatusCode::RESPONSE_TOO_SHORT` when the response is too short to carry a status;
 *      - otherwise the adapter's own status, 0 for success.
 * 2. **Outputs** are written whenever a response arrived, also when the adapter's status is an error: test the status
 *    before trusting them. Bytes that the response does not hold are delivered as zero. Without a response outputs
 *    stay as they were.
 * 3. **Responses are not matched to requests**: the adapter answers one request at a time, and whatever response
 *    arrives first completes the wait. After a `NO_RESPONSE` the late response therefore answers the next request
 *    (only `getUsbString` notices); of two responses that arrive close together the later one counts. To get back
 *    in step with a slow adapter, call `getUsbString` until it succeeds.
 * 4. **Threads.** Use one session from one thread at a time; different sessions are independent. The notification
 *    handler runs on the session's reader thread: it must return soon (see `TarvixAsyncSDK`: reports are lost while it
 *    runs), must not throw, and must not call a blocking method of the same session, which could never be answered.
 * 5. **Numbers and memory** are as in `TarvixAsyncSDK`.
 */
#ifndef TARVIXSDK_SDK_HPP
#define TARVIXSDK_SDK_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarvixsdk/adapters.hpp"
#include "tarvixsdk/types.h"

/** Blocking session with one adapter. Starts disconnected; the destructor disconnects. */
class TARVIX_API TarvixSDK {
public:
    /** Takes one notification; record and frame are valid during the call only. Runs on the reader thread. */
    using NotificationHandler = std::function<void(const Notification& notification)>;

    /** Takes the news that the adapter is lost. Runs on the reader thread. */
    using ConnectionLostHandler = std::function<void()>;

    /** The adapter's five USB strings by index. Bytes as the adapter sent them; their meaning is the adapter's. */
    struct DeviceInfo {
        std::string usbString1;
        std::string usbString2;
        std::string usbString3;
        std::string usbString4;
        std::string usbString5;
    };

    /** A session that waits for a response without limit. */
    TarvixSDK();

    /**
     * @param timeout how long each exchange waits for its response, in milliseconds; -1 waits without limit, 0 and
     *        other negative values do not wait at all
     */
    explicit TarvixSDK(int timeout);

    ~TarvixSDK();
    TarvixSDK(const TarvixSDK&) = delete;
    TarvixSDK& operator=(const TarvixSDK&) = delete;

    /** @name Session */
    ///@{

    /**
     * Opens an adapter, by default as a strict and exclusive session, and says why not. While an adapter is open this
     * keeps it and returns `OPENED`, whatever the options; an adapter that was lost is closed first, so that
     * reconnecting is one call. A session begins with nothing stored from before.
     *
     * A **strict** session differs from a plain one (`connect`) in this:
     *
     *   - A response completes a call only when it carries the transaction id of the call's request; any other is
     *     dropped and counted by `unmatchedResponses`.
     *   - Outputs are written on success only, and never from a response that carries or declares more than was asked
     *     for (`StatusCode::UNEXPECTED_RESPONSE`) or less than the outputs need (`RESPONSE_TOO_SHORT`). Payload bytes
     *     that were damaged on the way cannot be noticed: frames have no checksum.
     *   - When the adapter is lost (unplugged, restarted), a waiting call ends within 200 ms and every later one at
     *     once with `StatusCode::ADAPTER_LOST`, also with a timeout of -1.
     *   - A request stops at the first segment that cannot be written, and the call returns `NO_RESPONSE`. The kernel
     *     gives up on an adapter that takes no data after about 5 s, whatever the session's timeout.
     *   - `disconnect` from another thread ends a waiting call with `StatusCode::NOT_CONNECTED`.
     *   - Calls from several threads are served one after another.
     *
     * @throws std::system_error `resource_unavailable_try_again` when the reader thread cannot be started
     */
    OpenResult open(const OpenOptions& options = {});

    /** As `TarvixAsyncSDK::isConnected`. */
    bool isConnected() const;

    /** As `TarvixAsyncSDK::onConnectionLost`. A waiting call ends before the handler runs. */
    void onConnectionLost(ConnectionLostHandler handler);

    /** Responses that strict sessions of this object dropped because no call was waiting for them. */
    std::uint64_t unmatchedResponses() const;

    /** As `TarvixAsyncSDK::connect`. */
    bool connect(const std::string& path);

    /** As `TarvixAsyncSDK::connectWithSerialNumber`. */
    bool connectWithSerialNumber(const std::string& serialNumber);

    /** As `TarvixAsyncSDK::disconnect`. */
    void disconnect();

    /**
     * Replaces the handler for notifications. An empty one drops them. Any thread may call it at any time, also the
     * handler itself; a call that is running meanwhile ends with the handler that it began with.
     */
    void onNotification(NotificationHandler handler);

    /** The library's version, `TARVIXSDK_VERSION`. */
    static std::string getVersion();
    ///@}

    /** @name Adapter */
    ///@{

    /** Restarts the adapter. Does not wait: `SUCCESS` says that the frame was handed to the transport. */
    StatusCode resetDevice();

    /** Restarts the adapter in its boot mode. Does not wait: `SUCCESS` says that the frame was handed over. */
    StatusCode enterBootMode();

    /**
     * Reads one of the adapter's USB strings.
     *
     * @param string replaced by the string's bytes when the response belongs to this request
     * @return `SUCCESS` for the response to this request, whatever status it carries;
     *         `StatusCode::UNEXPECTED_RESPONSE` for any other response, `string` unchanged
     */
    StatusCode getUsbString(std::vector<std::uint8_t>& string, std::uint8_t index);

    /**
     * Reads the USB strings 1 to 5, in five exchanges.
     *
     * @return the status of the first exchange that fails; the strings before it are set, the others unchanged
     */
    StatusCode getDeviceInfo(DeviceInfo& info);
    ///@}

    /** @name Supply rails */
    ///@{

    /** Sets the shared rail; also the rail of I2C, SPI and UART. */
    StatusCode gpioSetVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode i2cSetBusVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode spiSetBusVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode uartSetBusVoltage(std::uint16_t voltage, bool flag);

    /** Takes the shared rail from outside (true) or generates it (false). */
    StatusCode gpioUseExternalVoltage(bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode i2cUseExternalVoltage(bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode spiUseExternalVoltage(bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode uartUseExternalVoltage(bool useExternal);

    /** Reads the shared rail's voltage back. */
    StatusCode gpioGetVoltage(std::uint16_t& voltage);
    /** The shared rail: see `gpioGetVoltage`. */
    StatusCode i2cGetBusVoltage(std::uint16_t& voltage);
    /** The shared rail: see `gpioGetVoltage`. */
    StatusCode spiGetBusVoltage(std::uint16_t& voltage);
    /** The shared rail: see `gpioGetVoltage`. */
    StatusCode uartGetBusVoltage(std::uint16_t& voltage);

    /** Sets the I3C rail. */
    StatusCode i3cSetBusVoltage(std::uint16_t voltage);

    /** Takes the I3C rail from outside (true) or generates it (false). */
    StatusCode i3cUseExternalVoltage(bool useExternal);

    /** Reads the I3C rail back: the adapter's two readings, in its order. */
    StatusCode i3cGetBusVoltage(std::uint16_t& voltage1, std::uint16_t& voltage2);
    ///@}

    /** @name GPIO */
    ///@{
    StatusCode gpioConfigurePin(GpioPinNumber pinNumber, GpioFunctionality functionality, GpioLogicLevel logicLevel);
    StatusCode gpioDigitalWrite(GpioPinNumber pinNumber, GpioLogicLevel logicLevel);
    /** @param logicLevel the byte that the adapter answered, declared member or not */
    StatusCode gpioDigitalRead(GpioPinNumber pinNumber, GpioLogicLevel& logicLevel);
    StatusCode gpioConfigureInterrupt(GpioPinNumber pinNumber, GpioTriggerType triggerType);
    StatusCode gpioDisableInterrupt(GpioPinNumber pinNumber);
    ///@}

    /** @name I2C */
    ///@{
    StatusCode i2cControllerInit(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    StatusCode i2cSetParameters(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    StatusCode i2cSetPullUpResistors(std::uint8_t bus, std::uint8_t pullUp);
    StatusCode i2cWrite(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                        const std::vector<std::uint8_t>& data, bool flag);

    /** @param readData replaced by exactly `length` bytes */
    StatusCode i2cRead(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                       std::uint16_t length, std::vector<std::uint8_t>& readData, bool flag);

    /**
     * Asks which addresses of a port answer.
     *
     * @param addresses replaced by `*oneByteCount` one-byte entries, then `*twoByteCount` entries of two bytes
     * @return also `StatusCode::INVALID_ARGUMENT` for a bus above 1 or a null count (tested before the connection), and
     *         `StatusCode::RESPONSE_TOO_SHORT` when the counts promise more entries than arrived; the counts are
     *         written then, `addresses` is unchanged
     */
    StatusCode i2cScanBus(std::vector<std::uint8_t>& addresses, std::uint8_t* oneByteCount, std::uint8_t* twoByteCount,
                          std::uint8_t bus, bool flag);
    ///@}

    /** @name SPI */
    ///@{
    StatusCode spiControllerInit(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                 SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    StatusCode spiSetParameters(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);

    /** @param readData replaced by as many bytes as the adapter says it received, whatever was asked for */
    StatusCode spiTransfer(std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& readData,
                           std::uint16_t transferLength);
    ///@}

    /** @name UART */
    ///@{
    StatusCode uartInit(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                        UartStopBit stopBit);
    StatusCode uartSetParameters(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                                 UartDataSize dataSize, UartStopBit stopBit);
    StatusCode uartDeinit();
    StatusCode uartSendMessage(const std::vector<std::uint8_t>& message);
    ///@}

    /** @name I3C controller, bus and targets */
    ///@{
    StatusCode i3cControllerInit(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                 I2cTransferRate i2cRate, I3cDriveStrength driveStrength);
    StatusCode i3cSetParameters(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                I2cTransferRate i2cRate, I3cDriveStrength driveStrength);
    StatusCode i3cInitBus(std::vector<I3cTargetInfo> targets);
    StatusCode i3cResetBus();

    /** @param table replaced by as many records as the adapter announces, at most 255 */
    StatusCode i3cGetDeviceTable(std::vector<I3cTargetInfo>& table);

    StatusCode i3cSetTargetDeviceConfiguration(std::uint8_t targetAddress, I3cTargetConfiguration configuration);
    StatusCode i3cHdrExitPattern();
    StatusCode i3cTargetResetPattern();
    ///@}

    /**
     * @name I3C private transfers
     *
     * A read replaces `data` by as many bytes as the adapter says the target sent, whatever `length` was.
     */
    ///@{
    StatusCode i3cSdrRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                          std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cSdrWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                           const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length,
                             std::vector<std::uint8_t>& data);
    StatusCode i3cHdrDdrWrite(std::uint8_t targetAddress, std::uint8_t command, const std::vector<std::uint8_t>& data);
    StatusCode i3cLegacyI2cRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cLegacyI2cWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                 const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    ///@}

    /**
     * @name I3C Common Command Codes
     *
     * A vector output is replaced by as many bytes as the adapter says the target sent, at most 255.
     */
    ///@{
    /**
     * One CCC of any number, as `TarvixAsyncSDK::i3cCccTransfer`, with the bytes read.
     *
     * @param readData replaced by the bytes that the target returned when `direction` is READ, at most `length` in a
     *        strict session; emptied otherwise
     */
    StatusCode i3cCccTransfer(std::uint8_t targetAddress, I3cTransferDirection direction, I3cTransferMode mode,
                              bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                              std::uint8_t definingByte, const std::vector<std::uint8_t>& data,
                              std::vector<std::uint8_t>& readData);

    StatusCode i3cCccENECBroadcast(std::uint8_t events);
    StatusCode i3cCccDISECBroadcast(std::uint8_t events);
    StatusCode i3cCccENTAS0Broadcast();
    StatusCode i3cCccENTAS1Broadcast();
    StatusCode i3cCccENTAS2Broadcast();
    StatusCode i3cCccENTAS3Broadcast();
    StatusCode i3cCccRSTDAA();
    StatusCode i3cCccENTDAA();
    StatusCode i3cCccSETMWLBroadcast(std::uint16_t maxWriteLength);
    StatusCode i3cCccSETMRLBroadcast(std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize);
    StatusCode i3cCccSETBUSCONBroadcast(std::uint8_t context,
                                        const std::optional<std::vector<std::uint8_t>>& extraData);
    StatusCode i3cCccSETXTIMEBroadcast(std::uint8_t subcommand,
                                       const std::optional<std::vector<std::uint8_t>>& extraData);
    StatusCode i3cCccSETAASA(const std::vector<std::uint8_t>& data);
    StatusCode i3cCccRSTACTBroadcast(I3cTargetResetDefByte action);
    StatusCode i3cCccRSTGRPABroadcast();
    StatusCode i3cCccENECDirect(std::uint8_t address, std::uint8_t events);
    StatusCode i3cCccDISECDirect(std::uint8_t address, std::uint8_t events);
    StatusCode i3cCccENTAS0Direct(std::uint8_t address);
    StatusCode i3cCccENTAS1Direct(std::uint8_t address);
    StatusCode i3cCccENTAS2Direct(std::uint8_t address);
    StatusCode i3cCccENTAS3Direct(std::uint8_t address);
    StatusCode i3cCccSETDASA(std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    StatusCode i3cCccSETNEWDA(std::uint8_t address, std::uint8_t newDynamicAddress);
    StatusCode i3cCccSETMWLDirect(std::uint8_t address, std::uint16_t maxWriteLength);
    StatusCode i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength,
                                  std::optional<std::uint8_t> maxIbiPayloadSize);
    StatusCode i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand,
                                    const std::optional<std::vector<std::uint8_t>>& extraData);
    StatusCode i3cCccSETGRPADirect(std::uint8_t address, std::uint8_t groupAddress);
    StatusCode i3cCccRSTGRPADirect(std::uint8_t address);

    /**
     * Sets or reads the reset action of one target.
     *
     * @param resetTime receives the byte that the target answered to a read; null and writes leave it alone
     */
    StatusCode i3cCccRSTACTDirect(std::uint8_t address, I3cTargetResetDefByte action, I3cTransferDirection direction,
                                  std::uint8_t* resetTime);

    /** @param maxWriteLength in bytes */
    StatusCode i3cCccGETMWL(std::uint8_t address, std::uint16_t& maxWriteLength);

    /**
     * @param maxReadLength in bytes
     * @param maxIbiPayloadSize in bytes; emptied unless the target answered three bytes
     */
    StatusCode i3cCccGETMRL(std::uint8_t address, std::uint16_t& maxReadLength,
                            std::optional<std::uint8_t>& maxIbiPayloadSize);

    /** @param pid six bytes from a conforming target, in wire order */
    StatusCode i3cCccGETPID(std::uint8_t address, std::vector<std::uint8_t>& pid);
    StatusCode i3cCccGETBCR(std::uint8_t address, std::uint8_t& bcr);
    StatusCode i3cCccGETDCR(std::uint8_t address, std::uint8_t& dcr);
    StatusCode i3cCccGETSTATUS(std::uint8_t address, std::vector<std::uint8_t>& status,
                               std::optional<std::uint8_t> definingByte);
    StatusCode i3cCccGETMXDS(std::uint8_t address, std::vector<std::uint8_t>& maxDataSpeed);
    StatusCode i3cCccGETCAPS(std::uint8_t address, std::vector<std::uint8_t>& caps,
                             std::optional<std::uint8_t> definingByte);
    StatusCode i3cCccGETXTIME(std::uint8_t address, std::vector<std::uint8_t>& xtime);
    ///@}

private:
    class Session;
    std::unique_ptr<Session> session_;
};

#endif
