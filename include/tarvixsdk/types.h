/**
 * @file
 * Enumerations and records of the Tarvix SDK, shared by every face of the library.
 *
 * The header is C99 and C++17. Each enumeration is declared once: C++ sees an `enum class` with the given underlying
 * type, C sees an integer typedef of the same width with members spelled `Name_MEMBER` (`GpioLogicLevel::HIGH` in C++
 * is `GpioLogicLevel_HIGH` in C).
 *
 * Conventions that hold for everything below:
 *
 * 1. Every enumeration but `StatusCode` and `NotificationKind` travels as one byte, the low eight bits of its value.
 *    The library neither checks nor translates it: any other number may be cast to the enumeration and is sent as is,
 *    and the adapter's status tells whether it was accepted.
 * 2. "Firmware's numbers" means that the members are those a user needs, numbered in their natural order, and that the
 *    adapter's firmware has the last word on them. The virtual adapter accepts exactly these.
 * 3. The records are plain data. They own nothing; a pointer inside one is valid for as long as its comment says.
 */
#ifndef TARVIXSDK_TYPES_H
#define TARVIXSDK_TYPES_H

#include <stddef.h>
#include <stdint.h>

/** Version of the library this header belongs to, as `getVersion` reports it. */
#define TARVIXSDK_VERSION "1.3.0"

/** @cond */
#if defined(__GNUC__)
#define TARVIX_API __attribute__((visibility("default")))
#else
#define TARVIX_API
#endif

#ifdef __cplusplus
#define TARVIX_ENUM(name, type) enum class name : type
#define TARVIX_MEMBER(name, member) member
#else
#define TARVIX_ENUM(name, type)                                                                                        \
    typedef type name;                                                                                                 \
    enum
#define TARVIX_MEMBER(name, member) name##_##member
#endif
/** @endcond */

/**
 * Number of a request, which the adapter repeats in its response.
 * 1 to 65535; 0 marks a notification.
 */
typedef uint16_t TransactionId;

/**
 * Result of every command.
 *
 * The values below are the library's own. Every other value is the adapter's, passed through unchanged by the blocking
 * class and the flat functions; its meaning is defined by the firmware.
 */
TARVIX_ENUM(StatusCode, uint16_t){
    /** Asynchronous: the frame was handed to the transport. Blocking: the adapter reported success. */
    TARVIX_MEMBER(StatusCode, SUCCESS) = 0x0000,
    /** The request was sent, but no response arrived in time. In a plain session a response that comes late answers
        the next request: see convention 3 of sdk.hpp. */
    TARVIX_MEMBER(StatusCode, NO_RESPONSE) = 0x2000,
    /** The session is not connected, and nothing was sent. Connect first. */
    TARVIX_MEMBER(StatusCode, NOT_CONNECTED) = 0x4000,
    /** The response does not fit the request: it holds more than was asked for (strict sessions), or belongs to
        another request (`getUsbString` in a plain session, which is out of step). */
    TARVIX_MEMBER(StatusCode, UNEXPECTED_RESPONSE) = 0x6000,
    /** An argument is out of range or inconsistent, and nothing was sent. Correct the call. */
    TARVIX_MEMBER(StatusCode, INVALID_ARGUMENT) = 0x8000,
    /** The response is shorter than what it declares, or too short to carry a status or (strict sessions) the
        outputs. */
    TARVIX_MEMBER(StatusCode, RESPONSE_TOO_SHORT) = 0xA000,
    /** The adapter was unplugged or restarted (strict sessions only). Call `open` again. */
    TARVIX_MEMBER(StatusCode, ADAPTER_LOST) = 0xC000,
};

/** How opening an adapter ended. */
TARVIX_ENUM(OpenStatus, uint32_t){
    /** An adapter is open. */
    TARVIX_MEMBER(OpenStatus, OPENED) = 0,
    /** None is attached, or none that fits. */
    TARVIX_MEMBER(OpenStatus, NO_ADAPTER) = 1,
    /** Several are attached and none was chosen. */
    TARVIX_MEMBER(OpenStatus, SEVERAL_ADAPTERS) = 2,
    /** The system does not let this user open the device node: install the udev rule. */
    TARVIX_MEMBER(OpenStatus, NO_PERMISSION) = 3,
    /** Another session has opened it exclusively. */
    TARVIX_MEMBER(OpenStatus, IN_USE) = 4,
    /** Anything else: it was unplugged just now, or the system is out of resources. */
    TARVIX_MEMBER(OpenStatus, FAILED) = 5,
};

/* ---- GPIO ------------------------------------------------------------------------------------------- */

/** Pin of the adapter. Firmware's numbers. */
TARVIX_ENUM(GpioPinNumber, uint32_t){
    TARVIX_MEMBER(GpioPinNumber, PIN_0) = 0, TARVIX_MEMBER(GpioPinNumber, PIN_1) = 1,
    TARVIX_MEMBER(GpioPinNumber, PIN_2) = 2, TARVIX_MEMBER(GpioPinNumber, PIN_3) = 3,
    TARVIX_MEMBER(GpioPinNumber, PIN_4) = 4, TARVIX_MEMBER(GpioPinNumber, PIN_5) = 5,
    TARVIX_MEMBER(GpioPinNumber, PIN_6) = 6, TARVIX_MEMBER(GpioPinNumber, PIN_7) = 7,
};

/** Role of a pin. Firmware's numbers. */
TARVIX_ENUM(GpioFunctionality, uint32_t){
    TARVIX_MEMBER(GpioFunctionality, INPUT) = 0,           /**< high-impedance input */
    TARVIX_MEMBER(GpioFunctionality, OUTPUT) = 1,          /**< push-pull output */
    TARVIX_MEMBER(GpioFunctionality, INPUT_PULL_UP) = 2,   /**< input pulled to the shared rail */
    TARVIX_MEMBER(GpioFunctionality, INPUT_PULL_DOWN) = 3, /**< input pulled to ground */
    TARVIX_MEMBER(GpioFunctionality, OPEN_DRAIN) = 4,      /**< drives low, releases for high */
};

/** Level of a pin. Firmware's numbers. */
TARVIX_ENUM(GpioLogicLevel, uint32_t){
    TARVIX_MEMBER(GpioLogicLevel, LOW) = 0,  /**< near ground */
    TARVIX_MEMBER(GpioLogicLevel, HIGH) = 1, /**< near the shared rail */
};

/** Pin event that raises an interrupt. Firmware's numbers. */
TARVIX_ENUM(GpioTriggerType, uint32_t){
    TARVIX_MEMBER(GpioTriggerType, RISING_EDGE) = 0,
    TARVIX_MEMBER(GpioTriggerType, FALLING_EDGE) = 1,
    TARVIX_MEMBER(GpioTriggerType, BOTH_EDGES) = 2,
};

/* ---- SPI -------------------------------------------------------------------------------------------- */

/** Bit of a word that is shifted first. Firmware's numbers. */
TARVIX_ENUM(SpiBitOrder, uint32_t){
    TARVIX_MEMBER(SpiBitOrder, MSB_FIRST) = 0,
    TARVIX_MEMBER(SpiBitOrder, LSB_FIRST) = 1,
};

/** Clock polarity (CPOL) and phase (CPHA), by the usual mode numbers. Firmware's numbers. */
TARVIX_ENUM(SpiMode, uint32_t){
    TARVIX_MEMBER(SpiMode, MODE_0) = 0, /**< CPOL 0, CPHA 0 */
    TARVIX_MEMBER(SpiMode, MODE_1) = 1, /**< CPOL 0, CPHA 1 */
    TARVIX_MEMBER(SpiMode, MODE_2) = 2, /**< CPOL 1, CPHA 0 */
    TARVIX_MEMBER(SpiMode, MODE_3) = 3, /**< CPOL 1, CPHA 1 */
};

/** Bits of one SPI word. Firmware's numbers. */
TARVIX_ENUM(SpiDataWidth, uint32_t){
    TARVIX_MEMBER(SpiDataWidth, BITS_8) = 0,
    TARVIX_MEMBER(SpiDataWidth, BITS_16) = 1,
};

/** Chip-select line that the controller drives. Firmware's numbers. */
TARVIX_ENUM(SpiChipSelect, uint32_t){
    TARVIX_MEMBER(SpiChipSelect, SELECT_0) = 0,
    TARVIX_MEMBER(SpiChipSelect, SELECT_1) = 1,
    TARVIX_MEMBER(SpiChipSelect, SELECT_2) = 2,
    TARVIX_MEMBER(SpiChipSelect, SELECT_3) = 3,
};

/** Level of the chip-select line while its target is selected. Firmware's numbers. */
TARVIX_ENUM(SpiChipSelectPolarity, uint32_t){
    TARVIX_MEMBER(SpiChipSelectPolarity, ACTIVE_LOW) = 0,
    TARVIX_MEMBER(SpiChipSelectPolarity, ACTIVE_HIGH) = 1,
};

/* ---- UART ------------------------------------------------------------------------------------------- */

/**
 * Line speed in bits per second. What travels is the member's number, not the rate. Firmware's numbers.
 */
TARVIX_ENUM(UartBaudRate, uint32_t){
    TARVIX_MEMBER(UartBaudRate, BAUD_1200) = 0,    TARVIX_MEMBER(UartBaudRate, BAUD_2400) = 1,
    TARVIX_MEMBER(UartBaudRate, BAUD_4800) = 2,    TARVIX_MEMBER(UartBaudRate, BAUD_9600) = 3,
    TARVIX_MEMBER(UartBaudRate, BAUD_19200) = 4,   TARVIX_MEMBER(UartBaudRate, BAUD_38400) = 5,
    TARVIX_MEMBER(UartBaudRate, BAUD_57600) = 6,   TARVIX_MEMBER(UartBaudRate, BAUD_115200) = 7,
    TARVIX_MEMBER(UartBaudRate, BAUD_230400) = 8,  TARVIX_MEMBER(UartBaudRate, BAUD_460800) = 9,
    TARVIX_MEMBER(UartBaudRate, BAUD_921600) = 10,
};

/** Hardware flow control (RTS/CTS). Firmware's numbers. */
TARVIX_ENUM(UartHwHandshake, uint32_t){
    TARVIX_MEMBER(UartHwHandshake, DISABLED) = 0,
    TARVIX_MEMBER(UartHwHandshake, ENABLED) = 1,
};

/** Parity bit. Firmware's numbers. */
TARVIX_ENUM(UartParity, uint32_t){
    TARVIX_MEMBER(UartParity, NONE) = 0,
    TARVIX_MEMBER(UartParity, ODD) = 1,
    TARVIX_MEMBER(UartParity, EVEN) = 2,
};

/** Data bits of one character. Firmware's numbers. */
TARVIX_ENUM(UartDataSize, uint32_t){
    TARVIX_MEMBER(UartDataSize, BITS_5) = 0,
    TARVIX_MEMBER(UartDataSize, BITS_6) = 1,
    TARVIX_MEMBER(UartDataSize, BITS_7) = 2,
    TARVIX_MEMBER(UartDataSize, BITS_8) = 3,
};

/** Stop bits after each character. Firmware's numbers. */
TARVIX_ENUM(UartStopBit, uint32_t){
    TARVIX_MEMBER(UartStopBit, ONE) = 0,
    TARVIX_MEMBER(UartStopBit, TWO) = 1,
};

/* ---- I3C -------------------------------------------------------------------------------------------- */

/** SDR push-pull clock, in the order in which the I3C standard lists sustained data rates. Firmware's numbers. */
TARVIX_ENUM(I3cPushPullRate, uint32_t){
    TARVIX_MEMBER(I3cPushPullRate, MHZ_12_5) = 0, TARVIX_MEMBER(I3cPushPullRate, MHZ_8) = 1,
    TARVIX_MEMBER(I3cPushPullRate, MHZ_6) = 2,    TARVIX_MEMBER(I3cPushPullRate, MHZ_4) = 3,
    TARVIX_MEMBER(I3cPushPullRate, MHZ_2) = 4,
};

/** Open-drain clock of arbitration and addressing. Firmware's numbers. */
TARVIX_ENUM(I3cOpenDrainTransferRate, uint32_t){
    TARVIX_MEMBER(I3cOpenDrainTransferRate, MHZ_1) = 0,
    TARVIX_MEMBER(I3cOpenDrainTransferRate, MHZ_2) = 1,
    TARVIX_MEMBER(I3cOpenDrainTransferRate, MHZ_4) = 2,
};

/**
 * Clock of legacy I2C transfers on the I3C bus. The I2C ports take their clock as a plain number instead.
 * Firmware's numbers.
 */
TARVIX_ENUM(I2cTransferRate, uint32_t){
    TARVIX_MEMBER(I2cTransferRate, KHZ_100) = 0,
    TARVIX_MEMBER(I2cTransferRate, KHZ_400) = 1,
    TARVIX_MEMBER(I2cTransferRate, MHZ_1) = 2,
};

/** Output drive strength of the I3C pins. Firmware's numbers. */
TARVIX_ENUM(I3cDriveStrength, uint32_t){
    TARVIX_MEMBER(I3cDriveStrength, LOW) = 0,
    TARVIX_MEMBER(I3cDriveStrength, MEDIUM) = 1,
    TARVIX_MEMBER(I3cDriveStrength, HIGH) = 2,
};

/** Direction of an I3C transfer, bit 0 of its mode byte. */
TARVIX_ENUM(I3cTransferDirection, uint32_t){
    TARVIX_MEMBER(I3cTransferDirection, WRITE) = 0, /**< the controller sends */
    TARVIX_MEMBER(I3cTransferDirection, READ) = 1,  /**< the target sends */
};

/** Mode of an I3C transfer, bits 1 and 2 of its mode byte. */
TARVIX_ENUM(I3cTransferMode, uint32_t){
    TARVIX_MEMBER(I3cTransferMode, SDR) = 0,        /**< single data rate */
    TARVIX_MEMBER(I3cTransferMode, HDR_DDR) = 1,    /**< HDR double data rate */
    TARVIX_MEMBER(I3cTransferMode, LEGACY_I2C) = 2, /**< I2C transfer to a legacy device on the I3C bus */
};

/**
 * Options of an I3C private transfer: five bits, sent as bits 3 to 7 of the mode byte; higher bits are lost.
 * What each bit asks for is defined by the firmware; `BIT_0` is the bit that `transferFlag` sets in a CCC.
 */
TARVIX_ENUM(I3cTransferFlags, uint32_t){
    TARVIX_MEMBER(I3cTransferFlags, NONE) = 0,  TARVIX_MEMBER(I3cTransferFlags, BIT_0) = 1,
    TARVIX_MEMBER(I3cTransferFlags, BIT_1) = 2, TARVIX_MEMBER(I3cTransferFlags, BIT_2) = 4,
    TARVIX_MEMBER(I3cTransferFlags, BIT_3) = 8, TARVIX_MEMBER(I3cTransferFlags, BIT_4) = 16,
};

/** Whether a CCC carries a defining byte, bit 4 of the CCC's flags byte. */
TARVIX_ENUM(I3cCccType, uint32_t){
    TARVIX_MEMBER(I3cCccType, WITHOUT_DEFINING_BYTE) = 0,
    TARVIX_MEMBER(I3cCccType, WITH_DEFINING_BYTE) = 1,
};

/** Defining byte of RSTACT, numbered by the I3C standard. From 0x81 on they are read, not written. */
TARVIX_ENUM(I3cTargetResetDefByte, uint32_t){
    TARVIX_MEMBER(I3cTargetResetDefByte, NO_RESET) = 0x00,                  /**< ignore the target reset pattern */
    TARVIX_MEMBER(I3cTargetResetDefByte, RESET_PERIPHERAL) = 0x01,          /**< reset the I3C peripheral only */
    TARVIX_MEMBER(I3cTargetResetDefByte, RESET_WHOLE_TARGET) = 0x02,        /**< reset the whole target */
    TARVIX_MEMBER(I3cTargetResetDefByte, RESET_DEBUG_ADAPTER) = 0x03,       /**< reset the debug network adapter */
    TARVIX_MEMBER(I3cTargetResetDefByte, VIRTUAL_TARGET_DETECT) = 0x04,     /**< detect virtual targets */
    TARVIX_MEMBER(I3cTargetResetDefByte, TIME_RESET_PERIPHERAL) = 0x81,     /**< time to reset the peripheral */
    TARVIX_MEMBER(I3cTargetResetDefByte, TIME_RESET_WHOLE_TARGET) = 0x82,   /**< time to reset the whole target */
    TARVIX_MEMBER(I3cTargetResetDefByte, TIME_RESET_DEBUG_ADAPTER) = 0x83,  /**< time to reset the debug adapter */
    TARVIX_MEMBER(I3cTargetResetDefByte, VIRTUAL_TARGET_INDICATION) = 0x84, /**< whether virtual targets exist */
};

/**
 * I3C Common Command Codes, numbered by the I3C standard. Codes below 0x80 are broadcast (sent to 0x7E), codes
 * from 0x80 are direct (sent to one target's dynamic address).
 */
TARVIX_ENUM(CCC, uint32_t){
    TARVIX_MEMBER(CCC, ENEC_BROADCAST) = 0x00,
    TARVIX_MEMBER(CCC, DISEC_BROADCAST) = 0x01,
    TARVIX_MEMBER(CCC, ENTAS0_BROADCAST) = 0x02,
    TARVIX_MEMBER(CCC, ENTAS1_BROADCAST) = 0x03,
    TARVIX_MEMBER(CCC, ENTAS2_BROADCAST) = 0x04,
    TARVIX_MEMBER(CCC, ENTAS3_BROADCAST) = 0x05,
    TARVIX_MEMBER(CCC, RSTDAA) = 0x06,
    TARVIX_MEMBER(CCC, ENTDAA) = 0x07,
    TARVIX_MEMBER(CCC, SETMWL_BROADCAST) = 0x09,
    TARVIX_MEMBER(CCC, SETMRL_BROADCAST) = 0x0A,
    TARVIX_MEMBER(CCC, SETBUSCON) = 0x0C,
    TARVIX_MEMBER(CCC, SETXTIME_BROADCAST) = 0x28,
    TARVIX_MEMBER(CCC, SETAASA) = 0x29,
    TARVIX_MEMBER(CCC, RSTACT_BROADCAST) = 0x2A,
    TARVIX_MEMBER(CCC, RSTGRPA_BROADCAST) = 0x2C,
    TARVIX_MEMBER(CCC, ENEC_DIRECT) = 0x80,
    TARVIX_MEMBER(CCC, DISEC_DIRECT) = 0x81,
    TARVIX_MEMBER(CCC, ENTAS0_DIRECT) = 0x82,
    TARVIX_MEMBER(CCC, ENTAS1_DIRECT) = 0x83,
    TARVIX_MEMBER(CCC, ENTAS2_DIRECT) = 0x84,
    TARVIX_MEMBER(CCC, ENTAS3_DIRECT) = 0x85,
    TARVIX_MEMBER(CCC, SETDASA) = 0x87,
    TARVIX_MEMBER(CCC, SETNEWDA) = 0x88,
    TARVIX_MEMBER(CCC, SETMWL_DIRECT) = 0x89,
    TARVIX_MEMBER(CCC, SETMRL_DIRECT) = 0x8A,
    TARVIX_MEMBER(CCC, GETMWL) = 0x8B,
    TARVIX_MEMBER(CCC, GETMRL) = 0x8C,
    TARVIX_MEMBER(CCC, GETPID) = 0x8D,
    TARVIX_MEMBER(CCC, GETBCR) = 0x8E,
    TARVIX_MEMBER(CCC, GETDCR) = 0x8F,
    TARVIX_MEMBER(CCC, GETSTATUS) = 0x90,
    TARVIX_MEMBER(CCC, GETMXDS) = 0x94,
    TARVIX_MEMBER(CCC, GETCAPS) = 0x95,
    TARVIX_MEMBER(CCC, SETXTIME_DIRECT) = 0x98,
    TARVIX_MEMBER(CCC, GETXTIME) = 0x99,
    TARVIX_MEMBER(CCC, RSTACT_DIRECT) = 0x9A,
    TARVIX_MEMBER(CCC, SETGRPA) = 0x9B,
    TARVIX_MEMBER(CCC, RSTGRPA_DIRECT) = 0x9C,
};

/**
 * One target of an I3C bus: 16 bytes without padding, the same in memory (on a little-endian host) and on the wire.
 * The library carries every field and interprets none.
 */
typedef struct I3cTargetInfo {
    uint8_t staticAddress;  /**< 7-bit static address, unshifted; 0 for none */
    uint8_t dynamicAddress; /**< 7-bit dynamic address, unshifted; 0 for none */
    uint8_t pid[6];         /**< 48-bit Provisioned ID, in wire order */
    uint8_t bcr;            /**< Bus Characteristics Register */
    uint8_t dcr;            /**< Device Characteristics Register */
    uint16_t extraWord1;    /**< defined by the firmware */
    uint16_t extraWord2;    /**< defined by the firmware */
    uint8_t extraByte1;     /**< defined by the firmware */
    uint8_t extraByte2;     /**< defined by the firmware */
} I3cTargetInfo;

/** Configuration byte of one target in the adapter's table, whole or bit by bit; defined by the firmware. */
typedef union I3cTargetConfiguration {
    uint8_t raw; /**< the byte that is sent */
    struct {
        uint8_t bit0 : 1;
        uint8_t bit1 : 1;
        uint8_t bit2 : 1;
        uint8_t bit3 : 1;
        uint8_t bit4 : 1;
        uint8_t bit5 : 1;
        uint8_t bit6 : 1;
        uint8_t bit7 : 1;
    } bits; /**< the same byte, bit by bit */
} I3cTargetConfiguration;

/* ---- Notifications ---------------------------------------------------------------------------------- */

/** What an unsolicited frame of the adapter reports. */
TARVIX_ENUM(NotificationKind, uint32_t){
    TARVIX_MEMBER(NotificationKind, I3C_HOT_JOIN) = 0,   /**< a target joined the I3C bus */
    TARVIX_MEMBER(NotificationKind, I3C_IBI) = 1,        /**< an I3C in-band interrupt */
    TARVIX_MEMBER(NotificationKind, GPIO_INTERRUPT) = 2, /**< an armed pin fired */
    TARVIX_MEMBER(NotificationKind, UART_RX) = 3,        /**< bytes received on the UART */
    TARVIX_MEMBER(NotificationKind, UNKNOWN) = 4,        /**< a code this version does not know */
};

/** A target that joined the I3C bus. */
typedef struct I3cHotJoinNotification {
    uint8_t provisionalId[6]; /**< 48-bit Provisioned ID, in wire order */
    uint8_t bcr;              /**< Bus Characteristics Register */
    uint8_t dcr;              /**< Device Characteristics Register */
    uint8_t dynamicAddress;   /**< 7-bit dynamic address that it was given, unshifted */
} I3cHotJoinNotification;

/** An in-band interrupt. */
typedef struct I3cIbiNotification {
    uint8_t targetAddress;  /**< 7-bit address of the target that raised it, unshifted */
    const uint8_t* payload; /**< bytes that came with it, inside the notification's frame */
    size_t payloadLength;   /**< number of bytes at `payload` */
} I3cIbiNotification;

/** An armed pin that fired. */
typedef struct GpioInterruptNotification {
    uint8_t pinNumber; /**< value of its `GpioPinNumber` */
} GpioInterruptNotification;

/** Bytes received on the UART. */
typedef struct UartRxNotification {
    const uint8_t* data; /**< the bytes, inside the notification's frame */
    size_t dataLength;   /**< number of bytes at `data` */
} UartRxNotification;

/** @cond */
#ifdef __cplusplus
#define TARVIX_SLOT mutable
#else
#define TARVIX_SLOT
#endif
/** @endcond */

/**
 * One unsolicited frame of the adapter.
 *
 * The record, its views and the frame live only for the duration of the handler call: copy what you need later.
 * In C++ the accessors decode it; in C the `TarvixSDK_notificationAs...` functions do.
 */
typedef struct Notification {
    NotificationKind kind; /**< what it reports */
    const uint8_t* data;   /**< byte 0 of the whole frame; the payload begins at `data[6]` */
    size_t length;         /**< bytes of the whole frame */

    /* Where the accessors put what they decode; each call rewrites its own slot. */
    TARVIX_SLOT I3cHotJoinNotification hotJoinSlot; /**< the accessor's; do not use it */
    TARVIX_SLOT I3cIbiNotification ibiSlot;         /**< the accessor's; do not use it */
    TARVIX_SLOT GpioInterruptNotification gpioSlot; /**< the accessor's; do not use it */
    TARVIX_SLOT UartRxNotification uartRxSlot;      /**< the accessor's; do not use it */

#ifdef __cplusplus
    /** The pin that fired; null unless `kind` is `GPIO_INTERRUPT` and the frame holds at least 7 bytes. */
    const GpioInterruptNotification* gpio() const
    {
        if (!holds(NotificationKind::GPIO_INTERRUPT, 7)) {
            return nullptr;
        }
        gpioSlot.pinNumber = data[6];
        return &gpioSlot;
    }

    /**
     * The in-band interrupt; null unless `kind` is `I3C_IBI` and the frame holds at least 8 bytes.
     * `payloadLength` never exceeds what the frame holds, whatever the adapter declared.
     */
    const I3cIbiNotification* i3cIbi() const
    {
        if (!holds(NotificationKind::I3C_IBI, 8)) {
            return nullptr;
        }
        ibiSlot.targetAddress = data[6];
        ibiSlot.payload = data + 8;
        ibiSlot.payloadLength = atMostBehind8(data[7]);
        return &ibiSlot;
    }

    /** The target that joined; null unless `kind` is `I3C_HOT_JOIN` and the frame holds at least 15 bytes. */
    const I3cHotJoinNotification* i3cHotJoin() const
    {
        if (!holds(NotificationKind::I3C_HOT_JOIN, 15)) {
            return nullptr;
        }
        for (size_t i = 0; i < sizeof hotJoinSlot.provisionalId; ++i) {
            hotJoinSlot.provisionalId[i] = data[6 + i];
        }
        hotJoinSlot.bcr = data[12];
        hotJoinSlot.dcr = data[13];
        hotJoinSlot.dynamicAddress = data[14];
        return &hotJoinSlot;
    }

    /**
     * The received bytes; null unless `kind` is `UART_RX` and the frame holds at least 8 bytes.
     * `dataLength` never exceeds what the frame holds, whatever the adapter declared.
     */
    const UartRxNotification* uartRx() const
    {
        if (!holds(NotificationKind::UART_RX, 8)) {
            return nullptr;
        }
        uartRxSlot.data = data + 8;
        uartRxSlot.dataLength = atMostBehind8(static_cast<size_t>(data[6] | data[7] << 8));
        return &uartRxSlot;
    }

private:
    bool holds(NotificationKind required, size_t minimum) const
    {
        return kind == required && length >= minimum;
    }
    size_t atMostBehind8(size_t declared) const
    {
        return declared < length - 8 ? declared : length - 8;
    }
#endif
} Notification;

#ifdef __cplusplus
static_assert(sizeof(I3cTargetInfo) == 16 && offsetof(I3cTargetInfo, pid) == 2 && offsetof(I3cTargetInfo, bcr) == 8 &&
                  offsetof(I3cTargetInfo, dcr) == 9 && offsetof(I3cTargetInfo, extraWord1) == 10 &&
                  offsetof(I3cTargetInfo, extraWord2) == 12 && offsetof(I3cTargetInfo, extraByte1) == 14 &&
                  offsetof(I3cTargetInfo, extraByte2) == 15,
              "I3cTargetInfo crosses the flat interface and the wire as a 16-byte block");
static_assert(sizeof(I3cTargetConfiguration) == 1, "I3cTargetConfiguration is one byte on the wire");
#endif

#undef TARVIX_ENUM
#undef TARVIX_MEMBER
#undef TARVIX_SLOT

#endif
