/**
 * @file
 * TarvixAsyncSDK: the adapter's commands without waiting.
 *
 * Conventions that hold for every method:
 *
 * 1. **Commands.** A command method checks the connection, then its arguments, encodes one request frame, writes it
 *    and returns at once. It returns
 *      - `StatusCode::NOT_CONNECTED` when the session is not connected, whatever the arguments are;
 *      - `StatusCode::INVALID_ARGUMENT` when an argument check fails; a method without such a status in its comment
 *        has no checks and sends any value as given;
 *      - `StatusCode::SUCCESS` when the frame was handed to the transport. Whether the adapter received it is not
 *        looked at: a lost frame shows only as a missing response.
 * 2. **Responses.** Whatever the adapter sends, responses and notifications alike, reaches the handler set with
 *    `onResponse` as whole frames: bytes 0..1 the transaction id (0 for a notification), 2..3 the command or
 *    notification code, 4..5 the adapter's status, the payload from byte 6; multi-byte fields little-endian.
 * 3. **Transaction ids** are the caller's choice, 1 to 65535, and are neither checked nor matched.
 * 4. **Threads.** Use one session from one thread at a time; different sessions are independent. Handlers run on the
 *    session's reader thread. While a handler runs nothing is read: Linux keeps 63 reports of 64 or 1024 bytes for
 *    a device and then drops the newest without a word, so a slow handler tears long frames.
 *    A handler must not throw, and must not disconnect or destroy its own session.
 * 5. **Numbers.** Addresses are 7-bit and unshifted. A unit is stated where the library knows it; where a comment
 *    says "the adapter's", the adapter defines the meaning and the library passes the value through.
 * 6. **Memory.** Running out of it raises `std::bad_alloc`; no command throws anything else. Arguments are only read
 *    during the call.
 * 7. **One program at a time.** A second program (or session) that opens the same adapter receives every response
 *    too, and each takes the other's for its own.
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

    /**
     * Opens the adapter at a hidapi device path, or with an empty path the first supported adapter found.
     *
     * While an adapter is open this returns true and keeps it, whatever the path.
     *
     * @return whether an adapter is open now; false when none matched or it could not be opened (in use, or no
     *         permission for its device node)
     * @throws std::system_error `resource_unavailable_try_again` when the reader thread cannot be started
     */
    bool connect(const std::string& path);

    /**
     * Opens the first supported adapter with exactly this serial number (UTF-8). An empty text opens the first one.
     * While an adapter is open this returns true and keeps it.
     *
     * @return as `connect`
     * @throws std::range_error "bad conversion" when the serial number of a HID device on this machine, looked at
     *         before a match was found, is not valid Unicode
     * @throws std::system_error as `connect`
     */
    bool connectWithSerialNumber(const std::string& serialNumber);

    /**
     * Stops the reader thread (within about 100 ms) and closes the adapter. Harmless when not connected.
     *
     * @throws std::system_error `resource_deadlock_would_occur` when called from a handler; the reader then stops
     *         when that handler returns, and `disconnect` from another thread completes the closing
     */
    void disconnect();

    /**
     * Opens an adapter and says why not. See `TarvixSDK::open`: of a strict session this class has that commands
     * return `StatusCode::ADAPTER_LOST` once the adapter is lost and `NO_RESPONSE` when the request could not be
     * written, and that segments outside a frame are dropped.
     */
    OpenResult open(const OpenOptions& options = {});

    /** Whether `connect` succeeded and `disconnect` was not called since. An unplugged adapter does not change it. */
    bool isConnected() const;

    /**
     * Replaces the handler for received frames. An empty one drops them. Any thread may call it at any time, also the
     * handler itself; a call that is running meanwhile ends with the handler that it began with.
     */
    void onResponse(ResponseHandler handler);

    /**
     * Replaces the handler that is called once when the adapter is lost: reading from it has failed for some 60 ms. It
     * runs on the reader thread and may not open, disconnect or destroy its own session. Of a plain session the reader
     * goes on trying, and a loss after reads have succeeded again is a new one.
     */
    void onConnectionLost(ConnectionLostHandler handler);

    /** The library's version, `TARVIXSDK_VERSION`. */
    static std::string getVersion();
    ///@}

    /** @name Adapter */
    ///@{

    /** Restarts the adapter. It answers nothing and leaves the bus: disconnect, wait, connect again. */
    StatusCode resetDevice(TransactionId transactionId);

    /** Restarts the adapter in its boot mode, for loading firmware. It answers nothing and leaves the bus. */
    StatusCode enterBootMode(TransactionId transactionId);

    /** Asks for one of the adapter's USB strings. Which text an index holds is the adapter's; 1 to 5 are in use. */
    StatusCode getUsbString(TransactionId transactionId, std::uint8_t index);
    ///@}

    /**
     * @name Supply rails
     *
     * I2C, SPI, UART and GPIO share one rail: the four names of each of its operations are the same operation, so
     * setting the voltage of one sets it for all. I3C has its own rail. The unit of a voltage and the range of each
     * rail are the adapter's (the virtual adapter takes millivolts); so is the meaning of `flag`.
     */
    ///@{

    /** Asks for the readings of both rails. */
    StatusCode getAnalogMeasurements(TransactionId transactionId);

    /** Sets the voltage that the adapter generates on the shared rail. */
    StatusCode gpioSetVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode i2cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode spiSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode uartSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);

    /** Takes the shared rail from outside (true) or generates it (false). */
    StatusCode gpioUseExternalVoltage(TransactionId transactionId, bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode i2cUseExternalVoltage(TransactionId transactionId, bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode spiUseExternalVoltage(TransactionId transactionId, bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode uartUseExternalVoltage(TransactionId transactionId, bool useExternal);

    /** Sets the voltage that the adapter generates on the I3C rail. */
    StatusCode i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage);

    /** Takes the I3C rail from outside (true) or generates it (false). */
    StatusCode i3cUseExternalVoltage(TransactionId transactionId, bool useExternal);
    ///@}

    /** @name GPIO */
    ///@{

    /** Gives a pin its role and, for an output, its initial level. */
    StatusCode gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber, GpioFunctionality functionality,
                                GpioLogicLevel logicLevel);

    /** Drives a pin. */
    StatusCode gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber, GpioLogicLevel logicLevel);

    /** Asks for the level of a pin. */
    StatusCode gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber);

    /** Arms the interrupt of a pin. Each event is a notification, until `gpioDisableInterrupt` or a reset. */
    StatusCode gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber,
                                      GpioTriggerType triggerType);

    /** Disarms the interrupt of a pin. */
    StatusCode gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber);
    ///@}

    /**
     * @name I2C
     *
     * `bus` is the index of a port, 0 or 1. `registerAddress` holds 0 to 4 bytes, most significant first, sent before
     * the data; longer ones yield `StatusCode::INVALID_ARGUMENT`. `flag` of a transfer is the adapter's. Length fields
     * have 16 bits: up to 65,535 bytes of data are meaningful, more are sent as given with their number modulo 65,536.
     */
    ///@{

    /** Sets a port up. `frequency` is sent unscaled (the virtual adapter takes hertz); `option` is the adapter's. */
    StatusCode i2cControllerInit(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                 std::uint8_t option);

    /** Changes the settings of a port already set up; arguments as `i2cControllerInit`. */
    StatusCode i2cSetParameters(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                std::uint8_t option);

    /** Selects the pull-up resistors of a port. Values and resistances are the adapter's. */
    StatusCode i2cSetPullUpResistors(TransactionId transactionId, std::uint8_t bus, std::uint8_t pullUp);

    /** Writes `data` to a target, after the register address if there is one. */
    StatusCode i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                        const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                        bool flag);

    /** Asks for `length` bytes of a target, after writing the register address if there is one. */
    StatusCode i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                       const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, bool flag);

    /** Asks which addresses of a port answer. `bus` is not checked here, unlike in the blocking class. */
    StatusCode i2cScanBus(TransactionId transactionId, std::uint8_t bus, bool flag);
    ///@}

    /** @name SPI */
    ///@{

    /** Sets the controller up. `frequency` is sent unscaled (the virtual adapter takes hertz). */
    StatusCode spiControllerInit(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                 SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                 SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);

    /** Changes the settings of a controller already set up; arguments as `spiControllerInit`. */
    StatusCode spiSetParameters(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                std::uint32_t frequency);

    /**
     * Clocks `data` out and bytes in. The number of `data` bytes (modulo 65,536) and `transferLength` are sent side by
     * side and not compared; how they relate is the adapter's. `data` is not modified.
     */
    StatusCode spiTransfer(TransactionId transactionId, std::vector<std::uint8_t>& data, std::uint16_t transferLength);
    ///@}

    /** @name UART */
    ///@{

    /** Opens the port. From then on received bytes arrive as notifications. */
    StatusCode uartInit(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                        UartParity parity, UartDataSize dataSize, UartStopBit stopBit);

    /** Changes the settings of an open port; arguments as `uartInit`. */
    StatusCode uartSetParameters(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                 UartParity parity, UartDataSize dataSize, UartStopBit stopBit);

    /** Closes the port. */
    StatusCode uartDeinit(TransactionId transactionId);

    /** Transmits `message`. Its length field has 16 bits: longer ones announce their length modulo 65,536. */
    StatusCode uartSendMessage(TransactionId transactionId, const std::vector<std::uint8_t>& message);
    ///@}

    /** @name I3C controller, bus and targets */
    ///@{

    /**
     * Sets the controller up. The four bytes are the values of `I3cPushPullRate`, `I3cOpenDrainTransferRate`,
     * `I2cTransferRate` and `I3cDriveStrength`.
     */
    StatusCode i3cControllerInit(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate,
                                 std::uint8_t i2cRate, std::uint8_t driveStrength);

    /** Changes the settings of a controller already set up; arguments as `i3cControllerInit`. */
    StatusCode i3cSetParameters(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate,
                                std::uint8_t i2cRate, std::uint8_t driveStrength);

    /** Brings the bus up with the targets expected on it: 0 to 255 of them, in one frame. */
    StatusCode i3cInitBus(TransactionId transactionId, std::vector<I3cTargetInfo> targets);

    /** Resets the bus. */
    StatusCode i3cResetBus(TransactionId transactionId);

    /** Asks for the adapter's table of targets. */
    StatusCode i3cGetDeviceTable(TransactionId transactionId);

    /** Sets the configuration byte of one target. Its bits are the adapter's. */
    StatusCode i3cSetTargetDeviceConfiguration(TransactionId transactionId, std::uint8_t targetAddress,
                                               I3cTargetConfiguration configuration);

    /** Drives the HDR exit pattern, which returns all targets from an HDR mode to SDR. */
    StatusCode i3cHdrExitPattern(TransactionId transactionId);

    /** Drives the target reset pattern. What it resets was chosen with RSTACT. */
    StatusCode i3cTargetResetPattern(TransactionId transactionId);
    ///@}

    /**
     * @name I3C private transfers
     *
     * `targetAddress` is a dynamic address, or the I2C address of a legacy device. `registerAddress` holds 0 to 4
     * bytes, sent in this order before the data; longer ones yield `StatusCode::INVALID_ARGUMENT`. `length` is the
     * number of bytes to read; length fields have 16 bits, and longer data is sent as given with its number modulo
     * 65,536. `command` is the HDR-DDR command byte.
     */
    ///@{

    /** Asks for bytes in SDR mode. */
    StatusCode i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress,
                          const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                          I3cTransferFlags flags);

    /** Writes bytes in SDR mode. */
    StatusCode i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress,
                           const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                           I3cTransferFlags flags);

    /** Asks for bytes in HDR-DDR mode. */
    StatusCode i3cHdrDdrRead(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                             std::uint16_t length);

    /** Writes bytes in HDR-DDR mode. */
    StatusCode i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                              const std::vector<std::uint8_t>& data);

    /** Asks for bytes of a legacy I2C device on the I3C bus. */
    StatusCode i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress,
                                const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                I3cTransferFlags flags);

    /** Writes bytes to a legacy I2C device on the I3C bus. */
    StatusCode i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                 const std::vector<std::uint8_t>& registerAddress,
                                 const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    ///@}

    /**
     * @name I3C Common Command Codes
     *
     * One method for each CCC and form, each a fixed call of `i3cCccTransfer` in SDR mode. A broadcast form addresses
     * 0x7E, a direct form `address` (a target's dynamic address; SETDASA: its static address). `events`, `context`,
     * `subcommand` and the payloads are those of the I3C standard.
     */
    ///@{

    /**
     * Sends any CCC.
     *
     * @param targetAddress 0x7E for a broadcast CCC, else the target's dynamic address
     * @param transferFlag bit 3 of the flags byte; the adapter's, and false in every named method
     * @param length bytes in `data` for a write, bytes expected from the target for a read; not compared with `data`
     * @param definingByte sent always; meaningful with `I3cCccType::WITH_DEFINING_BYTE`
     * @return also `StatusCode::INVALID_ARGUMENT` for a read with `data`
     */
    StatusCode i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferDirection direction,
                              I3cTransferMode mode, bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                              std::uint8_t definingByte, const std::vector<std::uint8_t>& data);

    /** Enables events of all targets (ENEC). */
    StatusCode i3cCccENECBroadcast(TransactionId transactionId, std::uint8_t events);
    /** Disables events of all targets (DISEC). */
    StatusCode i3cCccDISECBroadcast(TransactionId transactionId, std::uint8_t events);
    /** Puts all targets into activity state 0 (ENTAS0). */
    StatusCode i3cCccENTAS0Broadcast(TransactionId transactionId);
    /** Puts all targets into activity state 1 (ENTAS1). */
    StatusCode i3cCccENTAS1Broadcast(TransactionId transactionId);
    /** Puts all targets into activity state 2 (ENTAS2). */
    StatusCode i3cCccENTAS2Broadcast(TransactionId transactionId);
    /** Puts all targets into activity state 3 (ENTAS3). */
    StatusCode i3cCccENTAS3Broadcast(TransactionId transactionId);
    /** Takes the dynamic addresses of all targets away (RSTDAA). */
    StatusCode i3cCccRSTDAA(TransactionId transactionId);
    /** Assigns dynamic addresses (ENTDAA). */
    StatusCode i3cCccENTDAA(TransactionId transactionId);
    /** Sets the maximum write length of all targets, in bytes (SETMWL). */
    StatusCode i3cCccSETMWLBroadcast(TransactionId transactionId, std::uint16_t maxWriteLength);
    /** Sets the maximum read length and, if given, IBI payload size of all targets, in bytes (SETMRL). */
    StatusCode i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength,
                                     std::optional<std::uint8_t> maxIbiPayloadSize);
    /** Announces the bus context (SETBUSCON). */
    StatusCode i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context,
                                        const std::optional<std::vector<std::uint8_t>>& extraData);
    /** Sets up exchange of timing information with all targets (SETXTIME). */
    StatusCode i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand,
                                       const std::optional<std::vector<std::uint8_t>>& extraData);
    /** Makes static addresses dynamic (SETAASA). `data` (at most 255 bytes meaningful) is sent as given. */
    StatusCode i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data);
    /** Chooses what the next target reset pattern resets, for all targets (RSTACT). */
    StatusCode i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action);
    /** Takes the group addresses of all targets away (RSTGRPA). */
    StatusCode i3cCccRSTGRPABroadcast(TransactionId transactionId);
    /** Enables events of one target (ENEC). */
    StatusCode i3cCccENECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    /** Disables events of one target (DISEC). */
    StatusCode i3cCccDISECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    /** Puts one target into activity state 0 (ENTAS0). */
    StatusCode i3cCccENTAS0Direct(TransactionId transactionId, std::uint8_t address);
    /** Puts one target into activity state 1 (ENTAS1). */
    StatusCode i3cCccENTAS1Direct(TransactionId transactionId, std::uint8_t address);
    /** Puts one target into activity state 2 (ENTAS2). */
    StatusCode i3cCccENTAS2Direct(TransactionId transactionId, std::uint8_t address);
    /** Puts one target into activity state 3 (ENTAS3). */
    StatusCode i3cCccENTAS3Direct(TransactionId transactionId, std::uint8_t address);
    /** Gives the target with a static address a dynamic one (SETDASA). */
    StatusCode i3cCccSETDASA(TransactionId transactionId, std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    /** Changes a dynamic address (SETNEWDA). */
    StatusCode i3cCccSETNEWDA(TransactionId transactionId, std::uint8_t address, std::uint8_t newDynamicAddress);
    /** Sets the maximum write length of one target, in bytes (SETMWL). */
    StatusCode i3cCccSETMWLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxWriteLength);
    /** Sets the maximum read length and, if given, IBI payload size of one target, in bytes (SETMRL). */
    StatusCode i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxReadLength,
                                  std::optional<std::uint8_t> maxIbiPayloadSize);
    /** Sets up exchange of timing information with one target (SETXTIME). */
    StatusCode i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t subcommand,
                                    const std::optional<std::vector<std::uint8_t>>& extraData);
    /** Gives a target a group address (SETGRPA). */
    StatusCode i3cCccSETGRPADirect(TransactionId transactionId, std::uint8_t address, std::uint8_t groupAddress);
    /** Takes the group addresses of one target away (RSTGRPA). */
    StatusCode i3cCccRSTGRPADirect(TransactionId transactionId, std::uint8_t address);
    /** Sets or reads the reset action of one target (RSTACT), as `direction` says. */
    StatusCode i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address, I3cTargetResetDefByte action,
                                  I3cTransferDirection direction);
    /** Asks for the maximum write length (GETMWL): 2 bytes. */
    StatusCode i3cCccGETMWL(TransactionId transactionId, std::uint8_t address);
    /** Asks for the maximum read length and IBI payload size (GETMRL): 2 or 3 bytes. */
    StatusCode i3cCccGETMRL(TransactionId transactionId, std::uint8_t address);
    /** Asks for the Provisioned ID (GETPID): 6 bytes. */
    StatusCode i3cCccGETPID(TransactionId transactionId, std::uint8_t address);
    /** Asks for the Bus Characteristics Register (GETBCR): 1 byte. */
    StatusCode i3cCccGETBCR(TransactionId transactionId, std::uint8_t address);
    /** Asks for the Device Characteristics Register (GETDCR): 1 byte. */
    StatusCode i3cCccGETDCR(TransactionId transactionId, std::uint8_t address);
    /** Asks for the status (GETSTATUS): 2 bytes; its format is chosen by the defining byte, if given. */
    StatusCode i3cCccGETSTATUS(TransactionId transactionId, std::uint8_t address,
                               std::optional<std::uint8_t> definingByte);
    /** Asks for the maximum data speeds (GETMXDS): up to 5 bytes. */
    StatusCode i3cCccGETMXDS(TransactionId transactionId, std::uint8_t address);
    /** Asks for the capabilities (GETCAPS): up to 4 bytes; their format is chosen by the defining byte, if given. */
    StatusCode i3cCccGETCAPS(TransactionId transactionId, std::uint8_t address,
                             std::optional<std::uint8_t> definingByte);
    /** Asks for the timing support (GETXTIME): up to 4 bytes. */
    StatusCode i3cCccGETXTIME(TransactionId transactionId, std::uint8_t address);
    ///@}

private:
    friend class TarvixSDK;

    struct State;
    std::unique_ptr<State> state_;
};

#endif
