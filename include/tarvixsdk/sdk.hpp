/**
 * @file
 * TarvixSDK: the adapter's commands as blocking calls. This is the main class, and its comments are the reference:
 * async_sdk.hpp and flat.h state only what differs.
 *
 * A session is strict (made by `open`, which new programs use) or plain (made by `connect`). Conventions that hold for
 * every method of both:
 *
 * 1. **Commands.** A command numbers its request, sends it, waits for a response and decodes it. It returns one of
 *      - `StatusCode::SUCCESS`: the adapter did it;
 *      - `StatusCode::NOT_CONNECTED`: the session is not connected, and nothing was sent. Tested before the arguments;
 *      - `StatusCode::INVALID_ARGUMENT`: an argument was refused, and nothing was sent. Only methods whose comment
 *        names it check anything; all others send any value as given;
 *      - `StatusCode::NO_RESPONSE`: no response arrived within the session's timeout. The adapter may have carried the
 *        command out all the same;
 *      - `StatusCode::RESPONSE_TOO_SHORT`: the response has no room for a status or, in a strict session, for the
 *        outputs;
 *      - `StatusCode::UNEXPECTED_RESPONSE`, in a strict session: the response holds more than was asked for;
 *      - `StatusCode::ADAPTER_LOST`, in a strict session: the adapter was unplugged or restarted. Call `open` again;
 *      - any other value: the adapter's own status, passed through. Its meaning is defined by the firmware: no
 *        acknowledge on the bus, a value out of range, and so on.
 * 2. **Outputs** of a strict session are written on success only. A plain session writes them whenever a response
 *    arrived, even one that carries an error, and bytes that the response lacks read as zero: test the status before
 *    you trust them. Without a response, outputs keep their values.
 * 3. **Matching.** A plain session does not match responses to requests: the adapter answers in order, and whichever
 *    response arrives first ends the wait. After a `NO_RESPONSE` the late response is stored and answers the next call,
 *    whose own response answers the call after it: each following call returns the answer before. Only `getUsbString`
 *    notices. A stored response survives `disconnect` and `connect`; `disconnect` and `open`, or a new `TarvixSDK`,
 *    begin in step once the adapter has caught up. Of two responses that arrive close together the later one counts.
 *    A strict session matches responses by transaction id, and has none of this: the call after a `NO_RESPONSE` gets
 *    its own answer.
 * 4. **Threads.** A strict session serves calls from several threads one after another; use a plain one from one thread
 *    at a time. Different sessions are independent. Handlers run on the session's reader thread, and nothing is read
 *    while one runs: Linux keeps 63 unread reports and then drops the newest without a word, so a slow handler tears
 *    long responses. A handler must return soon and must not call a command of its own session, which would wait for a
 *    response that only its own thread can read. An exception that leaves a handler ends the program
 *    (`std::terminate`).
 * 5. **Values.** Addresses are 7-bit and unshifted. Enumerations travel as their low byte, declared member or not.
 *    Where a comment says that the firmware defines a value, the library passes it through.
 * 6. **Bus sequences.** START, repeated START and STOP are the bus conditions; `address+W` and `address+R` are the
 *    address byte of a write and of a read. Acknowledge and parity bits are left out. A sequence shows what a command
 *    asks for; details, such as a STOP and a START in place of a repeated START, are the firmware's.
 * 7. **One program at a time.** Every session that has opened an adapter receives all of its responses; plain ones take
 *    each other's for their own. By default `open` locks the adapter, which keeps other callers of `open` out.
 * 8. **Loss** of the adapter calls the handler set with `onConnectionLost`. In a plain session each command then ends
 *    in `NO_RESPONSE` or, without a timeout, never: `disconnect`, then `connect` again.
 * 9. **Memory.** Arguments are only read during the call. Running out of memory raises `std::bad_alloc`; commands throw
 *    nothing else. A response or notification for which the reader thread finds no memory is dropped: the call that
 *    waits for it returns `NO_RESPONSE`.
 * 10. **Processes.** A session belongs to the process that opened it. In a child of `fork` it is not connected:
 *     commands return `NOT_CONNECTED`, `connect` and `open` fail, and `disconnect`, the destructor and `exit` leave the
 *     parent's session alone. The child may open sessions of its own; one that was forked in a handler must call `exec`
 *     or `_exit`. Disconnect before `exit`: while it destroys static objects, handlers of open sessions still run.
 *     `dlclose` does not unload the library, and open sessions go on. A timeout of -1 waits as long as it takes: for
 *     ever when the response is lost and, in a plain session, when the adapter is.
 */
#ifndef TARVIXSDK_SDK_HPP
#define TARVIXSDK_SDK_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarvixsdk/adapters.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/types.h"

/** Blocking session with one adapter. Starts disconnected; the destructor disconnects. */
class TARVIX_API TarvixSDK {
public:
    /** Takes one notification; record and frame are valid during the call only. Runs on the reader thread. */
    using NotificationHandler = std::function<void(const Notification& notification)>;

    /** Takes the news that the adapter is lost. Runs on the reader thread. */
    using ConnectionLostHandler = std::function<void()>;

    /** The adapter's USB strings 1 to 5, byte for byte as sent. What each one says is defined by the firmware. */
    struct DeviceInfo {
        std::string usbString1; /**< string 1 */
        std::string usbString2; /**< string 2 */
        std::string usbString3; /**< string 3 */
        std::string usbString4; /**< string 4 */
        std::string usbString5; /**< string 5 */
    };

    /** How `runInFlight` ended. */
    struct JobResult {
        StatusCode status = StatusCode::SUCCESS; /**< of the command that failed, or `SUCCESS` */
        std::size_t command = 0;                 /**< the first that failed; how many there are when none did */

        /** Whether all commands succeeded. */
        explicit operator bool() const { return status == StatusCode::SUCCESS; }
    };

    /**
     * Sends command number `command` of a job with exactly one call of a method of `sdk`, under `transactionId`, and
     * returns that call's status. Runs on the thread that called `runInFlight`.
     */
    using SendCommand =
        std::function<StatusCode(TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t command)>;

    /**
     * Takes the response to a command: its status, and the whole frame, laid out as async_sdk.hpp says; the bytes are
     * valid during the call only. What it returns counts as the command's status. Runs on the thread that called
     * `runInFlight`.
     */
    using TakeResponse =
        std::function<StatusCode(std::size_t command, StatusCode status, const std::vector<std::uint8_t>& response)>;

    /** A session that waits for each response without limit. */
    TarvixSDK();

    /**
     * @param timeout how long each command waits for its response, in milliseconds; -1 waits without limit, 0 and other
     *        negative values do not wait at all
     */
    explicit TarvixSDK(int timeout);

    ~TarvixSDK();
    TarvixSDK(const TarvixSDK&) = delete;
    TarvixSDK& operator=(const TarvixSDK&) = delete;

    /** @name Session */
    ///@{

    /**
     * Opens an adapter, by default in a strict and exclusive session, or says why it could not. While an adapter is
     * open this keeps it and returns `OPENED`, whatever the options. An adapter that was lost is closed first, so that
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
     *     once with `StatusCode::ADAPTER_LOST`, even with a timeout of -1.
     *   - A request stops at the first segment that cannot be written, and the call returns `NO_RESPONSE`. The kernel
     *     waits about 5.3 s for an adapter that takes no data, and so does a call or a `disconnect` meanwhile, whatever
     *     the session's timeout: at most 5.5 s in all.
     *   - `disconnect` from another thread ends a waiting call with `StatusCode::NOT_CONNECTED`.
     *   - Calls from several threads are served one after another.
     *
     * @throws std::system_error `resource_unavailable_try_again` when the reader thread cannot be started
     */
    OpenResult open(const OpenOptions& options = {});

    /**
     * Whether an adapter is open. A plain session stays connected until `disconnect`, whatever becomes of the adapter;
     * a strict one ends when its adapter is lost.
     */
    bool isConnected() const;

    /**
     * Replaces the handler that is called once when the adapter is lost, that is, when reading from it has failed for
     * some 60 ms. It runs on the reader thread, after waiting calls have ended, and must not open, disconnect or
     * destroy its own session.
     *
     * In a plain session the reader keeps trying, and a loss after reads have succeeded again is a new one.
     */
    void onConnectionLost(ConnectionLostHandler handler);

    /** Responses that strict sessions of this object dropped because no call was waiting for them. */
    std::uint64_t unmatchedResponses() const;

    /**
     * Opens the adapter at a hidapi device path, or with an empty path the first supported adapter found.
     *
     * While an adapter is open this returns true and keeps it, whatever the path, even if it was unplugged meanwhile.
     *
     * A plain session writes every segment of a request, whatever became of the one before. The kernel waits about
     * 5.3 s for an adapter that takes no data, so a request of n segments (62 or 1022 bytes each) holds the call and
     * `disconnect` for n times as long, whatever the session's timeout.
     *
     * @return whether an adapter is open now; false when none matched or it could not be opened, most often for lack of
     *         permission for its device node. That another program has it open is no reason to fail.
     * @throws std::system_error `resource_unavailable_try_again` when the reader thread cannot be started
     */
    bool connect(const std::string& path);

    /**
     * Opens the first supported adapter with exactly this serial number (UTF-8); an empty one opens the first adapter.
     * While an adapter is open this returns true and keeps it.
     *
     * @return as `connect`
     * @throws std::range_error "bad conversion" when a HID device that was looked at before a match has a serial number
     *         that is not valid Unicode
     * @throws std::system_error as `connect`
     */
    bool connectWithSerialNumber(const std::string& serialNumber);

    /**
     * Stops the reader thread (within about 100 ms) and closes the adapter. Does nothing when not connected.
     *
     * A handler cannot close its own session: the reader thread cannot wait for itself. The reader then stops when the
     * handler returns, but the adapter stays open: `isConnected` stays true, `connect` returns true without restarting
     * the reader, and responses no longer arrive. Call `disconnect` from another thread to complete the closing.
     * A strict session is over at once: `isConnected` is false, and `open` from another thread also completes the
     * closing.
     *
     * @throws std::system_error `resource_deadlock_would_occur` when called from a handler
     */
    void disconnect();

    /**
     * Replaces the handler for notifications; an empty one drops them. Any thread may call this at any time, even the
     * handler itself. A call in progress finishes with the old handler.
     */
    void onNotification(NotificationHandler handler);

    /** The library's version, `TARVIXSDK_VERSION`. */
    static std::string getVersion();
    ///@}

    /** @name Requests in flight */
    ///@{

    /**
     * Runs a job of many commands in a strict session without waiting for each response before the next request: the
     * pages of a memory, a list of registers. What it saves is the time that requests and responses spend on USB.
     *
     * Commands 0 to `count - 1` are sent in order, at most `inFlight` of them unanswered. Responses are matched by
     * transaction id and may come in any order; they are taken in the order of the commands. The first command that
     * fails stops the sending, and the ones already sent are waited for. So every command before the one in the result
     * has succeeded, and up to `inFlight - 1` after it may have been carried out.
     *
     * The session's timeout runs for the first unanswered command, anew for each. Commands of other threads wait until
     * the job is over. Neither function may call a method of this session other than `disconnect`. What they throw
     * ends the job and leaves the session usable; responses still to come are dropped.
     *
     * @param inFlight 1 to 63; with 1 each response is waited for. How many requests an adapter keeps while it works is
     *        defined by the firmware: the virtual adapter takes all. Their responses together should fit in the 63
     *        reports that Linux keeps for a busy reader
     * @param take empty when the status is all there is to know
     * @return the statuses of any command; `INVALID_ARGUMENT` at command 0 also for a plain session, an `inFlight` out
     * of range and an empty `send`. After `NO_RESPONSE`, `ADAPTER_LOST` and `NOT_CONNECTED` nothing more is waited for
     */
    JobResult runInFlight(std::size_t count, std::size_t inFlight, SendCommand send, TakeResponse take = {});
    ///@}

    /** @name Adapter */
    ///@{

    /**
     * Restarts the adapter, which leaves USB and comes back. Wait for that, then `open` again (in a plain session
     * `disconnect` and `connect`). There is no response to wait for, so `SUCCESS` says only that the request was handed
     * to the transport.
     */
    StatusCode resetDevice();

    /** Restarts the adapter in its boot mode, for loading firmware. Does not wait either; see `resetDevice`. */
    StatusCode enterBootMode();

    /**
     * Reads one of the adapter's USB strings. The one command that checks in a plain session, too, whether a response
     * is its own.
     *
     * @param string replaced by the string's bytes; unchanged unless the result is `SUCCESS`
     * @param index 1 to 5 are in use
     * @return `SUCCESS` for the response to this request, even if it carries an error;
     *         `StatusCode::UNEXPECTED_RESPONSE` for any other response
     */
    StatusCode getUsbString(std::vector<std::uint8_t>& string, std::uint8_t index);

    /**
     * Reads the USB strings 1 to 5 in five exchanges, each with the session's timeout.
     *
     * @return the status of the first exchange that fails; in a plain session the strings before it are set
     */
    StatusCode getDeviceInfo(DeviceInfo& info);
    ///@}

    /**
     * @name Supply rails
     *
     * GPIO, I2C, SPI and UART share one rail. Each of its operations has four names that do the same: setting the I2C
     * voltage sets the SPI voltage too. I3C has a rail of its own. The unit of a voltage, the range of each rail and
     * the meaning of `flag` are defined by the firmware (the virtual adapter takes millivolts and ignores `flag`). A
     * voltage that a rail cannot produce ends in a status of the adapter.
     */
    ///@{

    /** Sets the voltage that the adapter generates on the shared rail. */
    StatusCode gpioSetVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode i2cSetBusVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode spiSetBusVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail: see `gpioSetVoltage`. */
    StatusCode uartSetBusVoltage(std::uint16_t voltage, bool flag);

    /** Takes the shared rail's supply from outside (true), or generates it (false). */
    StatusCode gpioUseExternalVoltage(bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode i2cUseExternalVoltage(bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode spiUseExternalVoltage(bool useExternal);
    /** The shared rail: see `gpioUseExternalVoltage`. */
    StatusCode uartUseExternalVoltage(bool useExternal);

    /** Reads the voltage of the shared rail back. */
    StatusCode gpioGetVoltage(std::uint16_t& voltage);
    /** The shared rail: see `gpioGetVoltage`. */
    StatusCode i2cGetBusVoltage(std::uint16_t& voltage);
    /** The shared rail: see `gpioGetVoltage`. */
    StatusCode spiGetBusVoltage(std::uint16_t& voltage);
    /** The shared rail: see `gpioGetVoltage`. */
    StatusCode uartGetBusVoltage(std::uint16_t& voltage);

    /** Sets the voltage that the adapter generates on the I3C rail. */
    StatusCode i3cSetBusVoltage(std::uint16_t voltage);

    /** Takes the I3C rail's supply from outside (true), or generates it (false). */
    StatusCode i3cUseExternalVoltage(bool useExternal);

    /** Reads the I3C rail back: two readings, in the adapter's order, whose meaning is defined by the firmware. */
    StatusCode i3cGetBusVoltage(std::uint16_t& voltage1, std::uint16_t& voltage2);
    ///@}

    /**
     * @name GPIO
     *
     * Pins work at the voltage of the shared rail. A pin or a setting that the adapter does not have ends in a status
     * of the adapter.
     */
    ///@{

    /**
     * Gives a pin its role.
     *
     * @param logicLevel what the pin drives from the start, for roles that drive
     */
    StatusCode gpioConfigurePin(GpioPinNumber pinNumber, GpioFunctionality functionality, GpioLogicLevel logicLevel);

    /** Drives a pin; one in the role `OPEN_DRAIN` drives `LOW` and releases the line for `HIGH`. */
    StatusCode gpioDigitalWrite(GpioPinNumber pinNumber, GpioLogicLevel logicLevel);

    /**
     * Reads the level of a pin.
     *
     * @param logicLevel the byte that the adapter answered, declared member or not
     */
    StatusCode gpioDigitalRead(GpioPinNumber pinNumber, GpioLogicLevel& logicLevel);

    /**
     * Arms the interrupt of a pin. Each event is a `GPIO_INTERRUPT` notification, until `gpioDisableInterrupt` or a
     * restart of the adapter.
     */
    StatusCode gpioConfigureInterrupt(GpioPinNumber pinNumber, GpioTriggerType triggerType);

    /** Disarms the interrupt of a pin. Notifications that are already on their way still arrive. */
    StatusCode gpioDisableInterrupt(GpioPinNumber pinNumber);
    ///@}

    /**
     * @name I2C
     *
     * `bus` is the index of a port, 0 or 1. The lines work at the voltage of the shared rail. `registerAddress` holds 0
     * to 4 bytes, most significant first, and goes out before the data; longer ones yield
     * `StatusCode::INVALID_ARGUMENT`. `flag` is a transfer option defined by the firmware (the virtual adapter ignores
     * it). One transfer carries up to 65,535 bytes: of longer data all bytes are sent, announced with their number
     * modulo 65,536.
     *
     * A missing acknowledge, a port that is not set up and a refused setting end in a status of the adapter.
     */
    ///@{

    /**
     * Sets a port up. Nothing appears on the bus.
     *
     * @param frequency clock of SCL, sent unscaled (the virtual adapter takes hertz, up to 3,400,000)
     * @param option defined by the firmware
     */
    StatusCode i2cControllerInit(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);

    /** Changes the settings of a port that is set up; arguments as for `i2cControllerInit`. */
    StatusCode i2cSetParameters(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);

    /** Selects the pull-up resistors of a port. Which resistance a value stands for is defined by the firmware. */
    StatusCode i2cSetPullUpResistors(std::uint8_t bus, std::uint8_t pullUp);

    /**
     * Writes to a target.
     *
     * On the bus: START, targetAddress+W, registerAddress, data, STOP.
     *
     * With neither register address nor data only the address goes out, to see whether a target acknowledges it.
     */
    StatusCode i2cWrite(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                        const std::vector<std::uint8_t>& data, bool flag);

    /**
     * Reads from a target.
     *
     * On the bus: START, targetAddress+W, registerAddress, repeated START, targetAddress+R, `length` bytes, STOP;
     * without a register address: START, targetAddress+R, `length` bytes, STOP.
     *
     * @param readData replaced by exactly `length` bytes
     */
    StatusCode i2cRead(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                       std::uint16_t length, std::vector<std::uint8_t>& readData, bool flag);

    /**
     * Addresses every target of a port and tells which acknowledge. Which addresses are tried is defined by the
     * firmware (the virtual adapter tries 0x08 to 0x77).
     *
     * @param addresses replaced by `*oneByteCount` entries of one byte, then `*twoByteCount` entries of two bytes, as
     *        the adapter sent them
     * @param oneByteCount,twoByteCount must not be null
     * @return also `StatusCode::INVALID_ARGUMENT` for a bus above 1 or a null count, tested before the connection, and
     *         `StatusCode::RESPONSE_TOO_SHORT` when the counts promise more entries than arrived: the counts are then
     *         written and `addresses` is unchanged
     */
    StatusCode i2cScanBus(std::vector<std::uint8_t>& addresses, std::uint8_t* oneByteCount, std::uint8_t* twoByteCount,
                          std::uint8_t bus, bool flag);
    ///@}

    /**
     * @name SPI
     *
     * The lines work at the voltage of the shared rail. A controller that is not set up and a refused setting end in a
     * status of the adapter.
     */
    ///@{

    /**
     * Sets the controller up. Nothing is clocked.
     *
     * @param frequency clock of SCK, sent unscaled (the virtual adapter takes hertz, up to 50,000,000)
     */
    StatusCode spiControllerInit(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                 SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);

    /** Changes the settings of a controller that is set up, such as the chip select. */
    StatusCode spiSetParameters(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);

    /**
     * Clocks bytes out and in at the same time.
     *
     * On the bus: chip select active, `data` out while as many bytes come in, chip select inactive.
     *
     * How the number of `data` bytes and `transferLength` relate is defined by the firmware; the two are sent side by
     * side and not compared. The virtual adapter clocks the larger number, with zeros after `data`. Up to 65,535 bytes;
     * longer data is announced with its number modulo 65,536.
     *
     * @param data not modified
     * @param readData replaced by as many bytes as the adapter says it received; a strict session accepts exactly
     *        `transferLength`
     */
    StatusCode spiTransfer(std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& readData,
                           std::uint16_t transferLength);
    ///@}

    /**
     * @name UART
     *
     * The lines work at the voltage of the shared rail. A port that is not open and a refused setting end in a status
     * of the adapter.
     */
    ///@{

    /** Opens the port. From now on received bytes arrive as `UART_RX` notifications, until `uartDeinit`. */
    StatusCode uartInit(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                        UartStopBit stopBit);

    /** Changes the settings of an open port. */
    StatusCode uartSetParameters(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                                 UartDataSize dataSize, UartStopBit stopBit);

    /** Closes the port. */
    StatusCode uartDeinit();

    /**
     * Transmits `message`, up to 65,535 bytes; of a longer one all bytes are sent, announced with their number modulo
     * 65,536. Whether `SUCCESS` means queued or on the line is defined by the firmware.
     */
    StatusCode uartSendMessage(const std::vector<std::uint8_t>& message);
    ///@}

    /**
     * @name I3C controller, bus and targets
     *
     * First set the controller up, then bring the bus up, then talk to targets. A controller or bus that is not up and
     * a refused setting end in a status of the adapter. Targets raise `I3C_IBI` and `I3C_HOT_JOIN` notifications.
     */
    ///@{

    /** Sets the controller up. Nothing appears on the bus. */
    StatusCode i3cControllerInit(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                 I2cTransferRate i2cRate, I3cDriveStrength driveStrength);

    /** Changes the settings of a controller that is set up. */
    StatusCode i3cSetParameters(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                I2cTransferRate i2cRate, I3cDriveStrength driveStrength);

    /**
     * Brings the bus up with the targets expected on it. What the adapter does with the list, such as which targets it
     * gives a dynamic address, is defined by the firmware.
     *
     * @param targets 0 to 255 records, sent in one frame
     */
    StatusCode i3cInitBus(std::vector<I3cTargetInfo> targets);

    /** Resets the bus. The virtual adapter takes all dynamic addresses back, and the bus stays up. */
    StatusCode i3cResetBus();

    /**
     * Reads the adapter's table of targets. Nothing appears on the bus.
     *
     * @param table replaced by as many records as the adapter announces, at most 255
     */
    StatusCode i3cGetDeviceTable(std::vector<I3cTargetInfo>& table);

    /** Sets the configuration byte of one target in the adapter's table. Its bits are defined by the firmware. */
    StatusCode i3cSetTargetDeviceConfiguration(std::uint8_t targetAddress, I3cTargetConfiguration configuration);

    /** Drives the HDR exit pattern, which returns all targets from an HDR mode to SDR. */
    StatusCode i3cHdrExitPattern();

    /**
     * Drives the target reset pattern. Each target resets what RSTACT chose right before (a START takes the choice
     * back) or, without RSTACT, its I3C peripheral. On a second pattern, with neither RSTACT nor GETSTATUS in between,
     * it resets everything.
     */
    StatusCode i3cTargetResetPattern();
    ///@}

    /**
     * @name I3C private transfers
     *
     * `targetAddress` is a dynamic address, or the I2C address of a legacy device. `registerAddress` holds 0 to 4
     * bytes, sent in this order before the data; longer ones yield `StatusCode::INVALID_ARGUMENT`. `length` is the
     * number of bytes to read. One transfer carries up to 65,535 bytes: of longer data all bytes are sent, announced
     * with their number modulo 65,536. A read replaces `data` by as many bytes as the adapter says the target sent;
     * only in a strict session are these at most `length`.
     *
     * Whether the controller sends the broadcast address 0x7E first is defined by the firmware. A missing acknowledge
     * ends in a status of the adapter.
     */
    ///@{

    /**
     * Reads in SDR mode.
     *
     * On the bus: START, targetAddress+W, registerAddress, repeated START, targetAddress+R, up to `length` bytes, STOP;
     * without a register address: START, targetAddress+R, up to `length` bytes, STOP. The target may
     * end the read early.
     */
    StatusCode i3cSdrRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                          std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);

    /**
     * Writes in SDR mode.
     *
     * On the bus: START, targetAddress+W, registerAddress, data, STOP.
     */
    StatusCode i3cSdrWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                           const std::vector<std::uint8_t>& data, I3cTransferFlags flags);

    /**
     * Reads in HDR-DDR mode.
     *
     * On the bus: START, 0x7E+W, ENTHDR0, then in double data rate the command word with `targetAddress` and up to
     * `length` bytes in words of two, CRC word, HDR exit pattern, STOP.
     *
     * @param command the HDR-DDR command byte, sent to the adapter as given; on the bus its bit 7 tells a read from a
     *        write, and whether the controller sets that bit itself is defined by the firmware (the virtual adapter
     *        does)
     */
    StatusCode i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length,
                             std::vector<std::uint8_t>& data);

    /** Writes in HDR-DDR mode. Sequence and `command` as for `i3cHdrDdrRead`, with `data` sent by the controller. */
    StatusCode i3cHdrDdrWrite(std::uint8_t targetAddress, std::uint8_t command, const std::vector<std::uint8_t>& data);

    /** Reads from a legacy I2C device on the I3C bus. On the bus as `i2cRead`. */
    StatusCode i3cLegacyI2cRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);

    /** Writes to a legacy I2C device on the I3C bus. On the bus as `i2cWrite`. */
    StatusCode i3cLegacyI2cWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                 const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    ///@}

    /**
     * @name I3C Common Command Codes
     *
     * One method for each code and form, all in SDR mode. `address` is a target's dynamic address. On the bus:
     *   - broadcast: START, 0x7E+W, code, defining byte if any, data if any, STOP;
     *   - direct write: START, 0x7E+W, code, defining byte if any, repeated START, address+W, data, STOP;
     *   - direct read: START, 0x7E+W, code, defining byte if any, repeated START, address+R, data, STOP.
     *
     * `events` is a sum of 0x01 (in-band interrupts), 0x02 (controller role requests) and 0x08 (hot-join). Other bytes
     * mean what the I3C standard says. The length field of a write has 8 bits: it counts all data modulo 256, while all
     * of it is sent. A vector output is replaced by as many bytes as the adapter says the target sent, at most 255, in
     * bus order. A target that does not support a code does not acknowledge, which ends in a status of the adapter.
     */
    ///@{

    /**
     * Sends any code, in any mode. The methods below cover the codes of `CCC`.
     *
     * @param targetAddress 0x7E for a broadcast code, else the target's dynamic address (SETDASA: its static address)
     * @param transferFlag bit 3 of the flags byte; defined by the firmware, and false in every method below
     * @param length for a write the number of bytes in `data`, for a read the number of bytes expected from the target;
     *        not compared with `data`
     * @param definingByte always in the frame; meaningful with `I3cCccType::WITH_DEFINING_BYTE`
     * @param readData replaced by the bytes that the target sent for a read; emptied by a write
     * @return also `StatusCode::INVALID_ARGUMENT` for a read with `data`
     */
    StatusCode i3cCccTransfer(std::uint8_t targetAddress, I3cTransferDirection direction, I3cTransferMode mode,
                              bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                              std::uint8_t definingByte, const std::vector<std::uint8_t>& data,
                              std::vector<std::uint8_t>& readData);

    /** Enables events of all targets (ENEC). */
    StatusCode i3cCccENECBroadcast(std::uint8_t events);
    /** Disables events of all targets (DISEC). */
    StatusCode i3cCccDISECBroadcast(std::uint8_t events);
    /** Puts all targets into activity state 0, expecting traffic after 1 µs at the earliest (ENTAS0). */
    StatusCode i3cCccENTAS0Broadcast();
    /** Puts all targets into activity state 1, expecting traffic after 100 µs at the earliest (ENTAS1). */
    StatusCode i3cCccENTAS1Broadcast();
    /** Puts all targets into activity state 2, expecting traffic after 2 ms at the earliest (ENTAS2). */
    StatusCode i3cCccENTAS2Broadcast();
    /** Puts all targets into activity state 3, expecting traffic after 50 ms at the earliest (ENTAS3). */
    StatusCode i3cCccENTAS3Broadcast();
    /** Takes the dynamic addresses of all targets away (RSTDAA). */
    StatusCode i3cCccRSTDAA();
    /**
     * Assigns dynamic addresses (ENTDAA): the targets without one send their PID, BCR and DCR in arbitration, and each
     * winner is given an address that the adapter chooses. `i3cGetDeviceTable` tells the outcome.
     */
    StatusCode i3cCccENTDAA();
    /** Sets the maximum write length of all targets, in bytes (SETMWL). */
    StatusCode i3cCccSETMWLBroadcast(std::uint16_t maxWriteLength);
    /** Sets the maximum read length and, if given, the maximum IBI payload size of all targets, in bytes (SETMRL). */
    StatusCode i3cCccSETMRLBroadcast(std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize);
    /** Announces the bus context (SETBUSCON). With more than 254 bytes of `extraData` the length field wraps. */
    StatusCode i3cCccSETBUSCONBroadcast(std::uint8_t context,
                                        const std::optional<std::vector<std::uint8_t>>& extraData);
    /**
     * Sends a timing control sub-command to all targets (SETXTIME), such as 0xDF and 0xEF to enter the asynchronous
     * modes 0 and 1, or 0xFF to leave. With more than 254 bytes of `extraData` the length field wraps.
     */
    StatusCode i3cCccSETXTIMEBroadcast(std::uint8_t subcommand,
                                       const std::optional<std::vector<std::uint8_t>>& extraData);
    /** Makes static addresses dynamic (SETAASA). The I3C standard has no data here; `data` is sent as given. */
    StatusCode i3cCccSETAASA(const std::vector<std::uint8_t>& data);
    /** Chooses what the next target reset pattern resets, for all targets (RSTACT). */
    StatusCode i3cCccRSTACTBroadcast(I3cTargetResetDefByte action);
    /** Takes the group addresses of all targets away (RSTGRPA). */
    StatusCode i3cCccRSTGRPABroadcast();
    /** Enables events of one target (ENEC). */
    StatusCode i3cCccENECDirect(std::uint8_t address, std::uint8_t events);
    /** Disables events of one target (DISEC). */
    StatusCode i3cCccDISECDirect(std::uint8_t address, std::uint8_t events);
    /** Puts one target into activity state 0; see `i3cCccENTAS0Broadcast`. */
    StatusCode i3cCccENTAS0Direct(std::uint8_t address);
    /** Puts one target into activity state 1; see `i3cCccENTAS1Broadcast`. */
    StatusCode i3cCccENTAS1Direct(std::uint8_t address);
    /** Puts one target into activity state 2; see `i3cCccENTAS2Broadcast`. */
    StatusCode i3cCccENTAS2Direct(std::uint8_t address);
    /** Puts one target into activity state 3; see `i3cCccENTAS3Broadcast`. */
    StatusCode i3cCccENTAS3Direct(std::uint8_t address);
    /** Gives the target at a static address a dynamic one (SETDASA). */
    StatusCode i3cCccSETDASA(std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    /** Changes a target's dynamic address (SETNEWDA). */
    StatusCode i3cCccSETNEWDA(std::uint8_t address, std::uint8_t newDynamicAddress);
    /** Sets the maximum write length of one target, in bytes (SETMWL). */
    StatusCode i3cCccSETMWLDirect(std::uint8_t address, std::uint16_t maxWriteLength);
    /** Sets the maximum read length and, if given, the maximum IBI payload size of one target, in bytes (SETMRL). */
    StatusCode i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength,
                                  std::optional<std::uint8_t> maxIbiPayloadSize);
    /** Sends a timing control sub-command to one target; see `i3cCccSETXTIMEBroadcast`. */
    StatusCode i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand,
                                    const std::optional<std::vector<std::uint8_t>>& extraData);
    /** Adds a target to a group (SETGRPA). */
    StatusCode i3cCccSETGRPADirect(std::uint8_t address, std::uint8_t groupAddress);
    /** Takes the group addresses of one target away (RSTGRPA). */
    StatusCode i3cCccRSTGRPADirect(std::uint8_t address);

    /**
     * Sets the reset action of one target, or reads it or how long a reset takes (RSTACT), as `direction` says.
     *
     * @param action the members from 0x81 on are only for reads; a read with 0x00 to 0x02 returns the action set
     * @param resetTime receives the byte that a read returned; may be null, and a write leaves it alone
     */
    StatusCode i3cCccRSTACTDirect(std::uint8_t address, I3cTargetResetDefByte action, I3cTransferDirection direction,
                                  std::uint8_t* resetTime);

    /** Reads the maximum write length, in bytes (GETMWL). */
    StatusCode i3cCccGETMWL(std::uint8_t address, std::uint16_t& maxWriteLength);

    /**
     * Reads the maximum read length and IBI payload size, in bytes (GETMRL).
     *
     * @param maxIbiPayloadSize emptied unless the target sent three bytes
     */
    StatusCode i3cCccGETMRL(std::uint8_t address, std::uint16_t& maxReadLength,
                            std::optional<std::uint8_t>& maxIbiPayloadSize);

    /** Reads the Provisioned ID (GETPID): 6 bytes, most significant first. */
    StatusCode i3cCccGETPID(std::uint8_t address, std::vector<std::uint8_t>& pid);
    /** Reads the Bus Characteristics Register (GETBCR). */
    StatusCode i3cCccGETBCR(std::uint8_t address, std::uint8_t& bcr);
    /** Reads the Device Characteristics Register (GETDCR). */
    StatusCode i3cCccGETDCR(std::uint8_t address, std::uint8_t& dcr);
    /** Reads the status (GETSTATUS): 2 bytes, most significant first; a defining byte chooses another format. */
    StatusCode i3cCccGETSTATUS(std::uint8_t address, std::vector<std::uint8_t>& status,
                               std::optional<std::uint8_t> definingByte);
    /** Reads the maximum data speeds (GETMXDS): one byte for writes, one for reads, 3 of read turnaround, if any. */
    StatusCode i3cCccGETMXDS(std::uint8_t address, std::vector<std::uint8_t>& maxDataSpeed);
    /** Reads the capabilities (GETCAPS): up to 4 bytes; a defining byte chooses another format. */
    StatusCode i3cCccGETCAPS(std::uint8_t address, std::vector<std::uint8_t>& caps,
                             std::optional<std::uint8_t> definingByte);
    /** Reads the timing support (GETXTIME): modes, state, clock in 0.5 MHz, inaccuracy in 0.1 %. */
    StatusCode i3cCccGETXTIME(std::uint8_t address, std::vector<std::uint8_t>& xtime);
    ///@}

private:
    friend struct TarvixSDK_Handle;

    class Session;
    std::unique_ptr<Session> session_;
};

#endif
