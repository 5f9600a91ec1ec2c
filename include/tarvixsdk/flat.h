/**
 * @file
 * The flat interface: the blocking commands as plain functions over an opaque handle, for C and for every language
 * that can call C.
 *
 * The header is C99 and C++17. Conventions that hold for every function:
 *
 * 1. **Mirrors.** A function does what the method of `TarvixSDK` that its comment names does, with that method's
 *    arguments in that method's order after the handle. sdk.hpp describes what it does on the bus, its units, ranges
 *    and results; types.h describes the enumerations and records. The comments below say only what differs in C.
 * 2. **Handles.** A handle is one session with one adapter, from `TarvixSDK_Create` to `TarvixSDK_Destroy`. A null
 *    handle is harmless: functions that return a `StatusCode` return `NOT_CONNECTED`, those that return a `bool` return
 *    false, the others do nothing. The one exception is `TarvixSDK_onNotification`, whose handle must be valid.
 * 3. **Order of checks.** First the handle; then the function's own checks (conventions 6 and 7, and those in its
 *    comment), which return `INVALID_ARGUMENT` even on a session that is not connected; then the method with its
 *    connection test and its checks. Nothing is sent unless all pass.
 * 4. **Statuses.** The method's status is returned unchanged: 0 (`SUCCESS`), one of the library's (see `StatusCode` in
 *    types.h), or the adapter's own.
 * 5. **Widths.** `StatusCode` is an unsigned 16-bit integer. Every other enumeration crosses as an unsigned 32-bit
 *    integer, declared member or not; `bool` is one byte; `size_t` has 64 bits.
 * 6. **Inputs** belong to the caller and are only read during the call. An array is a pointer and a count. The pointer
 *    may be null if the count is 0; otherwise a null array is `INVALID_ARGUMENT`, unless a comment says that the array
 *    is not tested. A register address of more than 4 bytes is `INVALID_ARGUMENT`. An optional value is a flag and a
 *    value, which counts if the flag is true. An optional array is absent if its pointer is null, and present but empty
 *    if only its count is 0.
 * 7. **Outputs** go to the caller's memory. A null output pointer is `INVALID_ARGUMENT` unless a comment says
 *    otherwise.
 *      - Byte arrays, records and their lengths are written when the status is 0 and left alone otherwise.
 *      - In a plain session a single number (`uint16_t* voltage`, `uint8_t* bcr`, ...) is written whenever a response
 *        arrived, even with an error status of the adapter. Test the status before you trust it.
 * 8. **Buffers.** Unless there is a `capacity`, no size is passed. A strict session writes at most what was asked for.
 *    In a plain one **the adapter decides how many bytes come, whatever was asked for**. A buffer must have room for
 *      - the I3C private reads and `TarvixSDK_SpiTransfer`: `length` bytes; in a plain session 65,535;
 *      - GETPID 6 bytes, GETMXDS 5, GETCAPS and GETXTIME 4, GETSTATUS 2; in a plain session 255 for each;
 *      - `TarvixSDK_I2cRead`: `length` bytes, in a plain session, too.
 * 9. **Threads** are those of `TarvixSDK`. Callbacks run on the handle's reader thread; see
 *    `TarvixSDK_NotificationCallback`.
 * 10. **Processes** are those of `TarvixSDK`: to a forked child its parent's handles are not connected, and
 *     `TarvixSDK_Destroy` leaves them as they are.
 * 11. **Exceptions** do not leave these functions, but for `std::bad_alloc` when memory runs out, which ends a program
 *     that is not C++. One that leaves a callback ends the program.
 */
#ifndef TARVIXSDK_FLAT_H
#define TARVIXSDK_FLAT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "tarvixsdk/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One session with one adapter. Only ever used through pointers. */
typedef struct TarvixSDK_Handle TarvixSDK_Handle;

/**
 * Takes one notification.
 *
 * Runs on the handle's reader thread, one call at a time. Record and data are valid during the call only: the next
 * notification overwrites them, so copy what you need later. The callback must return soon (nothing is read while it
 * runs, and reports are lost), must not throw, and must not call a command of the same handle, which could never be
 * answered, nor `TarvixSDK_Destroy`. No context is passed: keep your own.
 *
 * `data` is a copy of the frame in a buffer of 256 bytes, and `length` counts at most 255. A frame of 256 bytes or more
 * comes with `length` 0 and its first 256 bytes in `data`: the views below refuse it, but `kind` still tells what it
 * was. All other fields of the record are zero.
 */
typedef void (*TarvixSDK_NotificationCallback)(const Notification* notification);

/**
 * The adapter's five USB strings by index: NUL-terminated copies, and their lengths in bytes without the terminator.
 * A string may hold NUL bytes of its own; then only the length tells where it ends.
 */
typedef struct TarvixSDK_DeviceInfo {
    char* usbString1;        /**< string 1 */
    size_t usbString1Length; /**< its length */
    char* usbString2;        /**< string 2 */
    size_t usbString2Length; /**< its length */
    char* usbString3;        /**< string 3 */
    size_t usbString3Length; /**< its length */
    char* usbString4;        /**< string 4 */
    size_t usbString4Length; /**< its length */
    char* usbString5;        /**< string 5 */
    size_t usbString5Length; /**< its length */
} TarvixSDK_DeviceInfo;

/** One attached adapter. Texts are NUL-terminated UTF-8 and never null; see `AdapterInfo` in adapters.hpp. */
typedef struct TarvixSDK_AdapterInfo {
    const char* path;         /**< device node */
    const char* serialNumber; /**< empty when the adapter reports none */
    const char* manufacturer; /**< empty when unknown */
    const char* product;      /**< empty when unknown */
    const char* usbPort;      /**< bus and port chain; empty where the system does not tell */
    uint16_t vendorId;        /**< of the USB device */
    uint16_t productId;       /**< of the USB device */
    uint32_t reportSize;      /**< bytes of one HID report: 64 or 1024 */
} TarvixSDK_AdapterInfo;

/** Flags of `TarvixSDK_Open`; 0 opens a strict and exclusive session. */
enum {
    TARVIXSDK_OPEN_SHARED = 1, /**< take no lock on the device node */
    TARVIXSDK_OPEN_PLAIN = 2   /**< a plain session, as `TarvixSDK_Connect` makes it */
};

/** How `TarvixSDK_Open` ended. Texts are NUL-terminated UTF-8, cut to their fields. */
typedef struct TarvixSDK_OpenResult {
    OpenStatus status; /**< whether it is open, and if not, why */
    int64_t holder;    /**< with `IN_USE`: id of the process that holds the lock; 0 where unknown */
    char path[256];    /**< the adapter opened, or the one that could not be; empty when none was chosen */
    char message[512]; /**< for people: "/dev/hidraw3 is in use by process 4711 (logger)" */
} TarvixSDK_OpenResult;

/** One transfer of `TarvixSDK_I2cTransfers`: a read when `readData` is given, else a write. */
typedef struct TarvixSDK_I2cTransfer {
    const uint8_t* writeData;      /**< `length` bytes to write; may be null when that is 0 */
    uint8_t* readData;             /**< room for the `length` bytes that are read; null for a write */
    uint16_t length;               /**< bytes of data */
    uint8_t targetAddress;         /**< 7 bits, unshifted */
    uint8_t registerAddressLength; /**< 0 to 4 */
    uint8_t registerAddress[4];    /**< sent before the data, in this order */
    bool flag;                     /**< as for `i2cWrite` and `i2cRead` */
} TarvixSDK_I2cTransfer;

/**
 * Takes one notification as a whole frame of any length, valid during the call only: bytes 2..3 the notification code,
 * the payload from byte 6, multi-byte fields little-endian. Runs on the handle's reader thread, under the rules of
 * `TarvixSDK_NotificationCallback`.
 */
typedef void (*TarvixSDK_FrameCallback)(void* context, const uint8_t* frame, size_t length);

/** The adapter is lost. Runs on the handle's reader thread, once per loss, under the same rules. */
typedef void (*TarvixSDK_LossCallback)(void* context);

/** @name Finding adapters */
/**@{*/

/**
 * Mirrors `listAdapters`.
 *
 * @param adapters set to an array of as many records, or null when there are none; release it with
 *        `TarvixSDK_FreeAdapters`. May be null itself, for the number alone
 * @return how many adapters are attached
 */
TARVIX_API size_t TarvixSDK_ListAdapters(TarvixSDK_AdapterInfo** adapters);

/** Releases what `TarvixSDK_ListAdapters` returned, texts and all. Null is fine. */
TARVIX_API void TarvixSDK_FreeAdapters(TarvixSDK_AdapterInfo* adapters);

/** Mirrors `statusName`. @return static text; null for a status of the adapter's own */
TARVIX_API const char* TarvixSDK_StatusName(StatusCode status);
/**@}*/

/** @name Session */
/**@{*/

/**
 * Makes a handle, not connected. Pass it to `TarvixSDK_Destroy` when done.
 *
 * @param timeout how long each exchange waits for its response, in milliseconds; -1 waits without limit, 0 and other
 *        negative values do not wait at all
 * @return never null
 */
TARVIX_API TarvixSDK_Handle* TarvixSDK_Create(int timeout);

/** Disconnects and frees the handle. Never call it while a call with the handle, or its callback, is running. */
TARVIX_API void TarvixSDK_Destroy(TarvixSDK_Handle* handle);

/**
 * Mirrors `open`. New programs use it instead of `TarvixSDK_Connect`.
 *
 * @param path null or empty for any
 * @param serialNumber UTF-8; null or empty for any
 * @param flags `TARVIXSDK_OPEN_` flags, or 0
 * @param result filled in; may be null
 * @return `FAILED` also for a null handle, and where the method raises an error
 */
TARVIX_API OpenStatus TarvixSDK_Open(TarvixSDK_Handle* handle, const char* path, const char* serialNumber,
                                     uint32_t flags, TarvixSDK_OpenResult* result);

/** Mirrors `isConnected`. */
TARVIX_API bool TarvixSDK_IsConnected(TarvixSDK_Handle* handle);

/** Replaces the callback for the loss of the adapter; null for none. Mirrors `onConnectionLost`. Any thread. */
TARVIX_API void TarvixSDK_OnConnectionLost(TarvixSDK_Handle* handle, TarvixSDK_LossCallback callback, void* context);

/**
 * Mirrors `connect`.
 *
 * @param path a hidapi device path; null or empty for the first supported adapter
 * @return also false where the method raises an error (the reader thread cannot be started)
 */
TARVIX_API bool TarvixSDK_Connect(TarvixSDK_Handle* handle, const char* path);

/**
 * Mirrors `connectWithSerialNumber`.
 *
 * @param serialNumber UTF-8; must not be null, unless the handle is
 * @return also false where the method raises an error (as `TarvixSDK_Connect`, or a HID device's serial number is not
 *         valid Unicode)
 */
TARVIX_API bool TarvixSDK_ConnectWithSerialNumber(TarvixSDK_Handle* handle, const char* serialNumber);

/**
 * Mirrors `disconnect`. Called from the notification callback it cannot close the adapter and reports nothing: the
 * reader stops when the callback returns, the adapter stays open, and until another thread calls `TarvixSDK_Disconnect`
 * or `TarvixSDK_Destroy`, `TarvixSDK_Connect` returns true without restarting the reader.
 */
TARVIX_API void TarvixSDK_Disconnect(TarvixSDK_Handle* handle);

/** Mirrors `getVersion`. @return static text, not to be freed */
TARVIX_API const char* TarvixSDK_GetVersion(void);
/**@}*/

/**
 * @name Notifications
 *
 * What an adapter reports by itself goes to the callbacks of the handle, and to a queue that
 * `TarvixSDK_NextNotification` empties.
 *
 * The views, `TarvixSDK_notificationAsGpio` and its like, decode a notification. Each returns true and fills `view` if
 * neither pointer is null, the kind is the required one and the data is long enough; otherwise it returns false and
 * writes nothing. Pointers inside a view point into the notification's data. Lengths inside a view are what the adapter
 * declared and may exceed what is there: before reading, compare them with the `length - 8` bytes that follow the fixed
 * part.
 */
/**@{*/

/**
 * Mirrors `onNotification`; null drops notifications.
 *
 * @param handle must not be null: it is not tested here
 */
TARVIX_API void TarvixSDK_onNotification(TarvixSDK_Handle* handle, TarvixSDK_NotificationCallback callback);

/** Replaces the callback for whole notification frames; null for none. Any thread may call it at any time. */
TARVIX_API void TarvixSDK_OnNotificationFrame(TarvixSDK_Handle* handle, TarvixSDK_FrameCallback callback,
                                              void* context);

/**
 * Fetches the oldest notification, for callers whose language cannot be called from a foreign thread. Any thread may
 * call it, also while a command runs.
 *
 * The handle keeps the latest 256 notifications (and at most 1 MiB) from `TarvixSDK_Open` or `TarvixSDK_Connect` on,
 * whether or not there are callbacks; the oldest are dropped first, and counted.
 *
 * @param buffer receives the frame, laid out as for `TarvixSDK_FrameCallback`; null with a `capacity` of 0
 * @param length set to the frame's size with `SUCCESS` and when `capacity` is too small
 * @param timeout how long to wait for one, in milliseconds; -1 waits without limit, 0 not at all
 * @return `SUCCESS`; `NO_RESPONSE` when none came in time; `INVALID_ARGUMENT` when `capacity` is too small, and the
 *         notification stays; once none is left, `ADAPTER_LOST` or `NOT_CONNECTED` when the session is over
 */
TARVIX_API StatusCode TarvixSDK_NextNotification(TarvixSDK_Handle* handle, uint8_t* buffer, size_t capacity,
                                                 size_t* length, int timeout);

/** Notifications of this handle that were dropped before `TarvixSDK_NextNotification` fetched them. */
TARVIX_API uint64_t TarvixSDK_DroppedNotifications(TarvixSDK_Handle* handle);

/** The pin that fired: kind `GPIO_INTERRUPT`, at least 7 bytes. */
TARVIX_API bool TarvixSDK_notificationAsGpio(const Notification* notification, GpioInterruptNotification* view);

/** The in-band interrupt: kind `I3C_IBI`, at least 8 bytes. `payloadLength` is as declared. */
TARVIX_API bool TarvixSDK_notificationAsI3cIbi(const Notification* notification, I3cIbiNotification* view);

/** The target that joined: kind `I3C_HOT_JOIN`, at least 15 bytes. */
TARVIX_API bool TarvixSDK_notificationAsI3cHotJoin(const Notification* notification, I3cHotJoinNotification* view);

/** The received bytes: kind `UART_RX`, at least 8 bytes. `dataLength` is as declared. */
TARVIX_API bool TarvixSDK_notificationAsUartRx(const Notification* notification, UartRxNotification* view);
/**@}*/

/** @name Adapter */
/**@{*/

/** Mirrors `resetDevice`. */
TARVIX_API StatusCode TarvixSDK_ResetDevice(TarvixSDK_Handle* handle);

/** Mirrors `enterBootMode`. */
TARVIX_API StatusCode TarvixSDK_EnterBootMode(TarvixSDK_Handle* handle);

/**
 * Mirrors `getUsbString`.
 *
 * @param string receives the bytes, without a terminator; at most 254
 * @param length set to the string's length on status 0 and when `capacity` is too small (`INVALID_ARGUMENT`, after
 *        the exchange)
 */
TARVIX_API StatusCode TarvixSDK_GetUsbString(TarvixSDK_Handle* handle, uint8_t index, uint8_t* string, size_t capacity,
                                             size_t* length);

/**
 * Mirrors `getDeviceInfo`.
 *
 * @param info overwritten, not freed, on status 0: its strings are then the caller's; release them with
 *        `TarvixSDK_FreeDeviceInfo`, or each with the C library's `free`
 */
TARVIX_API StatusCode TarvixSDK_GetDeviceInfo(TarvixSDK_Handle* handle, TarvixSDK_DeviceInfo* info);

/** Releases the strings of a record that `TarvixSDK_GetDeviceInfo` filled and clears it. Null and cleared are fine. */
TARVIX_API void TarvixSDK_FreeDeviceInfo(TarvixSDK_DeviceInfo* info);
/**@}*/

/** @name Supply rails */
/**@{*/

/** Mirrors `gpioSetVoltage`. */
TARVIX_API StatusCode TarvixSDK_GpioSetVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** Mirrors `i2cSetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_I2cSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** Mirrors `spiSetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_SpiSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** Mirrors `uartSetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_UartSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** Mirrors `i3cSetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_I3cSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage);

/** Mirrors `gpioUseExternalVoltage`. */
TARVIX_API StatusCode TarvixSDK_GpioUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** Mirrors `i2cUseExternalVoltage`. */
TARVIX_API StatusCode TarvixSDK_I2cUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** Mirrors `spiUseExternalVoltage`. */
TARVIX_API StatusCode TarvixSDK_SpiUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** Mirrors `uartUseExternalVoltage`. */
TARVIX_API StatusCode TarvixSDK_UartUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** Mirrors `i3cUseExternalVoltage`. */
TARVIX_API StatusCode TarvixSDK_I3cUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);

/** Mirrors `gpioGetVoltage`. */
TARVIX_API StatusCode TarvixSDK_GpioGetVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** Mirrors `i2cGetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_I2cGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** Mirrors `spiGetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_SpiGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** Mirrors `uartGetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_UartGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** Mirrors `i3cGetBusVoltage`. */
TARVIX_API StatusCode TarvixSDK_I3cGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage1, uint16_t* voltage2);
/**@}*/

/** @name GPIO */
/**@{*/

/** Mirrors `gpioConfigurePin`. @param logicLevel optional; level 0 is sent when `hasLogicLevel` is false */
TARVIX_API StatusCode TarvixSDK_GpioConfigurePin(TarvixSDK_Handle* handle, GpioPinNumber pinNumber,
                                                 GpioFunctionality functionality, bool hasLogicLevel,
                                                 GpioLogicLevel logicLevel);

/** Mirrors `gpioDigitalWrite`. */
TARVIX_API StatusCode TarvixSDK_GpioDigitalWrite(TarvixSDK_Handle* handle, GpioPinNumber pinNumber,
                                                 GpioLogicLevel logicLevel);

/**
 * Mirrors `gpioDigitalRead`.
 *
 * @param logicLevel the byte that the adapter answered, declared member or not; must not be null, unless the handle is:
 *        it is not tested
 */
TARVIX_API StatusCode TarvixSDK_GpioDigitalRead(TarvixSDK_Handle* handle, GpioPinNumber pinNumber,
                                                GpioLogicLevel* logicLevel);

/** Mirrors `gpioConfigureInterrupt`. */
TARVIX_API StatusCode TarvixSDK_GpioConfigureInterrupt(TarvixSDK_Handle* handle, GpioPinNumber pinNumber,
                                                       GpioTriggerType triggerType);

/** Mirrors `gpioDisableInterrupt`. */
TARVIX_API StatusCode TarvixSDK_GpioDisableInterrupt(TarvixSDK_Handle* handle, GpioPinNumber pinNumber);
/**@}*/

/** @name I2C */
/**@{*/

/** Mirrors `i2cControllerInit`. */
TARVIX_API StatusCode TarvixSDK_I2cControllerInit(TarvixSDK_Handle* handle, uint8_t bus, uint32_t frequency,
                                                  uint8_t option);

/** Mirrors `i2cSetParameters`. */
TARVIX_API StatusCode TarvixSDK_I2cSetParameters(TarvixSDK_Handle* handle, uint8_t bus, uint32_t frequency,
                                                 uint8_t option);

/** Mirrors `i2cSetPullUpResistors`. */
TARVIX_API StatusCode TarvixSDK_I2cSetPullUpResistors(TarvixSDK_Handle* handle, uint8_t bus, uint8_t pullUp);

/** Mirrors `i2cWrite`. */
TARVIX_API StatusCode TarvixSDK_I2cWrite(TarvixSDK_Handle* handle, uint8_t bus, uint8_t targetAddress,
                                         const uint8_t* registerAddress, uint8_t registerAddressLength,
                                         const uint8_t* data, uint32_t dataLength, bool flag);

/** Mirrors `i2cRead`. @param readData room for `length` bytes, all of which are written */
TARVIX_API StatusCode TarvixSDK_I2cRead(TarvixSDK_Handle* handle, uint8_t bus, uint8_t targetAddress,
                                        const uint8_t* registerAddress, uint8_t registerAddressLength, uint16_t length,
                                        uint8_t* readData, bool flag);

/**
 * Does these transfers in their order without waiting for each response before the next request: `i2cRead` and
 * `i2cWrite` in a job of `runInFlight`. The first that fails stops the sending, and those already sent are waited for,
 * so that up to `inFlight - 1` behind it may have been done. Strict sessions only.
 *
 * @param transfers `count` of them; their memory is used until this returns
 * @param inFlight how many may be unanswered, 1 to 63; with 1 each response is waited for. How many requests an adapter
 *        keeps is defined by the firmware; their responses together should fit in the 63 reports that Linux keeps
 * @param completed set to the number of transfers before the first that failed, all of which succeeded; `count` when
 *        none failed. May be null
 * @return the status of the first transfer that failed; `INVALID_ARGUMENT` also for a plain session, for `inFlight` out
 *         of range, and for a transfer with both pointers or with data and neither, and then nothing is sent
 */
TARVIX_API StatusCode TarvixSDK_I2cTransfers(TarvixSDK_Handle* handle, uint8_t bus,
                                             const TarvixSDK_I2cTransfer* transfers, size_t count, size_t inFlight,
                                             size_t* completed);

/**
 * Mirrors `i2cScanBus`.
 *
 * @param addresses receives `*oneByteCount + 2 * *twoByteCount` bytes: entries of one byte, then entries of two, as the
 *        adapter sent them
 * @param capacity room in `addresses`, in bytes
 * @return also `INVALID_ARGUMENT` when `capacity` is too small: the scan was made, the counts are written, and
 *         `addresses` is not
 */
TARVIX_API StatusCode TarvixSDK_I2cScanBus(TarvixSDK_Handle* handle, uint8_t* addresses, uint8_t capacity,
                                           uint8_t* oneByteCount, uint8_t* twoByteCount, uint8_t bus, bool flag);
/**@}*/

/** @name SPI */
/**@{*/

/** Mirrors `spiControllerInit`. */
TARVIX_API StatusCode TarvixSDK_SpiControllerInit(TarvixSDK_Handle* handle, SpiBitOrder bitOrder, SpiMode mode,
                                                  SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                                  SpiChipSelectPolarity chipSelectPolarity, uint32_t frequency);

/** Mirrors `spiSetParameters`. */
TARVIX_API StatusCode TarvixSDK_SpiSetParameters(TarvixSDK_Handle* handle, SpiBitOrder bitOrder, SpiMode mode,
                                                 SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                                 SpiChipSelectPolarity chipSelectPolarity, uint32_t frequency);

/**
 * Mirrors `spiTransfer`.
 *
 * @param txData null sends nothing, whatever `txLength` is; otherwise must be readable, unless the handle is null
 * @param rxBuffer room: see convention 8; null discards what is received
 * @param length the transfer length that is sent; the number of bytes received is not reported
 */
TARVIX_API StatusCode TarvixSDK_SpiTransfer(TarvixSDK_Handle* handle, const uint8_t* txData, uint16_t txLength,
                                            uint8_t* rxBuffer, uint16_t length);
/**@}*/

/** @name UART */
/**@{*/

/** Mirrors `uartInit`. */
TARVIX_API StatusCode TarvixSDK_UartInit(TarvixSDK_Handle* handle, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                         UartParity parity, UartDataSize dataSize, UartStopBit stopBit);

/** Mirrors `uartSetParameters`. */
TARVIX_API StatusCode TarvixSDK_UartSetParameters(TarvixSDK_Handle* handle, UartBaudRate baudRate,
                                                  UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                                                  UartStopBit stopBit);

/** Mirrors `uartDeinit`. */
TARVIX_API StatusCode TarvixSDK_UartDeinit(TarvixSDK_Handle* handle);

/** Mirrors `uartSendMessage`. @param data not tested: must be readable, unless the handle is null */
TARVIX_API StatusCode TarvixSDK_UartSendMessage(TarvixSDK_Handle* handle, const uint8_t* data, uint16_t length);
/**@}*/

/** @name I3C controller, bus and targets */
/**@{*/

/** Mirrors `i3cControllerInit`. */
TARVIX_API StatusCode TarvixSDK_I3cControllerInit(TarvixSDK_Handle* handle, I3cPushPullRate pushPullRate,
                                                  I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate,
                                                  I3cDriveStrength driveStrength);

/** Mirrors `i3cSetParameters`. */
TARVIX_API StatusCode TarvixSDK_I3cSetParameters(TarvixSDK_Handle* handle, I3cPushPullRate pushPullRate,
                                                 I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate,
                                                 I3cDriveStrength driveStrength);

/** Mirrors `i3cInitBus`. @param targets `count` records; not tested: must be readable, unless the handle is null */
TARVIX_API StatusCode TarvixSDK_I3cInitBus(TarvixSDK_Handle* handle, const I3cTargetInfo* targets, uint8_t count);

/** Mirrors `i3cResetBus`. */
TARVIX_API StatusCode TarvixSDK_I3cResetBus(TarvixSDK_Handle* handle);

/**
 * Mirrors `i3cGetDeviceTable`.
 *
 * @param table receives the first `capacity` records, and the rest are dropped without a word; 255 is always enough
 * @param count receives the number of records written
 */
TARVIX_API StatusCode TarvixSDK_I3cGetDeviceTable(TarvixSDK_Handle* handle, I3cTargetInfo* table, uint8_t capacity,
                                                  uint8_t* count);

/** Mirrors `i3cSetTargetDeviceConfiguration`. @param configuration the byte of an `I3cTargetConfiguration` */
TARVIX_API StatusCode TarvixSDK_I3cSetTargetDeviceConfiguration(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                                                uint8_t configuration);

/** Mirrors `i3cHdrExitPattern`. */
TARVIX_API StatusCode TarvixSDK_I3cHdrExitPattern(TarvixSDK_Handle* handle);

/** Mirrors `i3cTargetResetPattern`. */
TARVIX_API StatusCode TarvixSDK_I3cTargetResetPattern(TarvixSDK_Handle* handle);
/**@}*/

/** @name I3C private transfers */
/**@{*/

/** Mirrors `i3cSdrRead`. @param data room: see convention 8 @param dataLength receives the number of bytes written */
TARVIX_API StatusCode TarvixSDK_I3cSdrRead(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                           const uint8_t* registerAddress, uint8_t registerAddressLength,
                                           uint16_t length, uint8_t* data, uint16_t* dataLength,
                                           I3cTransferFlags flags);

/** Mirrors `i3cSdrWrite`. */
TARVIX_API StatusCode TarvixSDK_I3cSdrWrite(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                            const uint8_t* registerAddress, uint8_t registerAddressLength,
                                            const uint8_t* data, uint16_t dataLength, I3cTransferFlags flags);

/** Mirrors `i3cHdrDdrRead`. The length pointer comes first here. @param data room: see convention 8 */
TARVIX_API StatusCode TarvixSDK_I3cHdrDdrRead(TarvixSDK_Handle* handle, uint8_t targetAddress, uint8_t command,
                                              uint16_t length, uint16_t* dataLength, uint8_t* data);

/** Mirrors `i3cHdrDdrWrite`. */
TARVIX_API StatusCode TarvixSDK_I3cHdrDdrWrite(TarvixSDK_Handle* handle, uint8_t targetAddress, uint8_t command,
                                               const uint8_t* data, uint16_t dataLength);

/** Mirrors `i3cLegacyI2cRead`. @param data room: see convention 8; how many were written is not reported */
TARVIX_API StatusCode TarvixSDK_I3cLegacyI2CRead(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                                 const uint8_t* registerAddress, uint8_t registerAddressLength,
                                                 uint16_t length, uint8_t* data, I3cTransferFlags flags);

/** Mirrors `i3cLegacyI2cWrite`. */
TARVIX_API StatusCode TarvixSDK_I3cLegacyI2CWrite(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                                  const uint8_t* registerAddress, uint8_t registerAddressLength,
                                                  const uint8_t* data, uint16_t dataLength, I3cTransferFlags flags);
/**@}*/

/** @name I3C Common Command Codes */
/**@{*/

/**
 * Mirrors `i3cCccTransfer`.
 *
 * @param readData room for `length` bytes when `direction` is READ, otherwise not used
 * @param readLength with READ, set to the number of bytes read; otherwise not used
 * @return `UNEXPECTED_RESPONSE` also in a plain session when more than `length` bytes came; nothing is then written
 */
TARVIX_API StatusCode TarvixSDK_I3cCccTransfer(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                               I3cTransferDirection direction, I3cTransferMode mode, bool transferFlag,
                                               I3cCccType cccType, uint8_t length, CCC ccc, uint8_t definingByte,
                                               const uint8_t* data, size_t dataLength, uint8_t* readData,
                                               uint8_t* readLength);

/** Mirrors `i3cCccENECBroadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENECBroadcast(TarvixSDK_Handle* handle, uint8_t events);
/** Mirrors `i3cCccDISECBroadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccDISECBroadcast(TarvixSDK_Handle* handle, uint8_t events);
/** Mirrors `i3cCccENTAS0Broadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS0Broadcast(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccENTAS1Broadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS1Broadcast(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccENTAS2Broadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS2Broadcast(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccENTAS3Broadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS3Broadcast(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccRSTDAA`. */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTDAA(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccENTDAA`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTDAA(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccSETMWLBroadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMWLBroadcast(TarvixSDK_Handle* handle, uint16_t maxWriteLength);
/** Mirrors `i3cCccSETMRLBroadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMRLBroadcast(TarvixSDK_Handle* handle, uint16_t maxReadLength,
                                                      bool hasMaxIbiPayloadSize, uint8_t maxIbiPayloadSize);
/** Mirrors `i3cCccSETBUSCONBroadcast`. @param extraData optional array */
TARVIX_API StatusCode TarvixSDK_I3cCccSETBUSCONBroadcast(TarvixSDK_Handle* handle, uint8_t context,
                                                         const uint8_t* extraData, size_t extraLength);
/** Mirrors `i3cCccSETXTIMEBroadcast`. @param extraData optional array */
TARVIX_API StatusCode TarvixSDK_I3cCccSETXTIMEBroadcast(TarvixSDK_Handle* handle, uint8_t subcommand,
                                                        const uint8_t* extraData, size_t extraLength);
/** Mirrors `i3cCccSETAASA`. @param data not tested: must be readable, unless the handle is null */
TARVIX_API StatusCode TarvixSDK_I3cCccSETAASA(TarvixSDK_Handle* handle, const uint8_t* data, size_t count);
/** Mirrors `i3cCccRSTACTBroadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTACTBroadcast(TarvixSDK_Handle* handle, I3cTargetResetDefByte action);
/** Mirrors `i3cCccRSTGRPABroadcast`. */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTGRPABroadcast(TarvixSDK_Handle* handle);
/** Mirrors `i3cCccENECDirect`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENECDirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t events);
/** Mirrors `i3cCccDISECDirect`. */
TARVIX_API StatusCode TarvixSDK_I3cCccDISECDirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t events);
/** Mirrors `i3cCccENTAS0Direct`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS0Direct(TarvixSDK_Handle* handle, uint8_t address);
/** Mirrors `i3cCccENTAS1Direct`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS1Direct(TarvixSDK_Handle* handle, uint8_t address);
/** Mirrors `i3cCccENTAS2Direct`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS2Direct(TarvixSDK_Handle* handle, uint8_t address);
/** Mirrors `i3cCccENTAS3Direct`. */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS3Direct(TarvixSDK_Handle* handle, uint8_t address);
/** Mirrors `i3cCccSETDASA`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETDASA(TarvixSDK_Handle* handle, uint8_t staticAddress, uint8_t dynamicAddress);
/** Mirrors `i3cCccSETNEWDA`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETNEWDA(TarvixSDK_Handle* handle, uint8_t address, uint8_t newDynamicAddress);
/** Mirrors `i3cCccSETMWLDirect`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMWLDirect(TarvixSDK_Handle* handle, uint8_t address, uint16_t maxWriteLength);
/** Mirrors `i3cCccSETMRLDirect`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMRLDirect(TarvixSDK_Handle* handle, uint8_t address, uint16_t maxReadLength,
                                                   bool hasMaxIbiPayloadSize, uint8_t maxIbiPayloadSize);
/** Mirrors `i3cCccSETXTIMEDirect`. @param extraData optional array */
TARVIX_API StatusCode TarvixSDK_I3cCccSETXTIMEDirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t subcommand,
                                                     const uint8_t* extraData, size_t extraLength);
/** Mirrors `i3cCccSETGRPADirect`. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETGRPADirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t groupAddress);
/** Mirrors `i3cCccRSTGRPADirect`. */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTGRPADirect(TarvixSDK_Handle* handle, uint8_t address);
/**
 * Mirrors `i3cCccRSTACTDirect`.
 *
 * @param resetTime receives the byte that a read returned; may be null unless `direction` is `READ`
 */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTACTDirect(TarvixSDK_Handle* handle, uint8_t address,
                                                   I3cTargetResetDefByte action, I3cTransferDirection direction,
                                                   uint8_t* resetTime);
/** Mirrors `i3cCccGETMWL`. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETMWL(TarvixSDK_Handle* handle, uint8_t address, uint16_t* maxWriteLength);
/**
 * Mirrors `i3cCccGETMRL`.
 *
 * @param maxIbiPayloadSize written only if the target sent one; may be null
 * @param hasMaxIbiPayloadSize 1 if the target sent one, else 0, even without a response; may be null
 */
TARVIX_API StatusCode TarvixSDK_I3cCccGETMRL(TarvixSDK_Handle* handle, uint8_t address, uint16_t* maxReadLength,
                                             uint8_t* maxIbiPayloadSize, uint8_t* hasMaxIbiPayloadSize);
/** Mirrors `i3cCccGETPID`. @param pid room: see convention 8; no length is reported */
TARVIX_API StatusCode TarvixSDK_I3cCccGETPID(TarvixSDK_Handle* handle, uint8_t address, uint8_t* pid);
/** Mirrors `i3cCccGETBCR`. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETBCR(TarvixSDK_Handle* handle, uint8_t address, uint8_t* bcr);
/** Mirrors `i3cCccGETDCR`. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETDCR(TarvixSDK_Handle* handle, uint8_t address, uint8_t* dcr);
/** Mirrors `i3cCccGETSTATUS`. @param status room: see convention 8 @param length receives the number of bytes written
 */
TARVIX_API StatusCode TarvixSDK_I3cCccGETSTATUS(TarvixSDK_Handle* handle, uint8_t address, uint8_t* status,
                                                uint8_t* length, bool hasDefiningByte, uint8_t definingByte);
/**
 * Mirrors `i3cCccGETMXDS`.
 *
 * @param maxDataSpeed room: see convention 8
 * @param length receives the number of bytes written
 */
TARVIX_API StatusCode TarvixSDK_I3cCccGETMXDS(TarvixSDK_Handle* handle, uint8_t address, uint8_t* maxDataSpeed,
                                              uint8_t* length);
/** Mirrors `i3cCccGETCAPS`. @param caps room: see convention 8 @param length receives the number of bytes written */
TARVIX_API StatusCode TarvixSDK_I3cCccGETCAPS(TarvixSDK_Handle* handle, uint8_t address, uint8_t* caps, uint8_t* length,
                                              bool hasDefiningByte, uint8_t definingByte);
/** Mirrors `i3cCccGETXTIME`. @param xtime room: see convention 8 @param length receives the number of bytes written */
TARVIX_API StatusCode TarvixSDK_I3cCccGETXTIME(TarvixSDK_Handle* handle, uint8_t address, uint8_t* xtime,
                                               uint8_t* length);
/**@}*/

#ifdef __cplusplus
}
#endif

#endif
