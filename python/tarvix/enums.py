"""The enumerations of ``tarvixsdk/types.h``, under the same names."""

from __future__ import annotations

from enum import IntEnum, IntFlag

__all__ = [
    "StatusCode",
    "OpenStatus",
    "GpioPinNumber",
    "GpioFunctionality",
    "GpioLogicLevel",
    "GpioTriggerType",
    "SpiBitOrder",
    "SpiMode",
    "SpiDataWidth",
    "SpiChipSelect",
    "SpiChipSelectPolarity",
    "UartBaudRate",
    "UartHwHandshake",
    "UartParity",
    "UartDataSize",
    "UartStopBit",
    "I3cPushPullRate",
    "I3cOpenDrainTransferRate",
    "I2cTransferRate",
    "I3cDriveStrength",
    "I3cTransferDirection",
    "I3cTransferMode",
    "I3cTransferFlags",
    "I3cCccType",
    "I3cTargetResetDefByte",
    "CCC",
    "NotificationKind",
    "I3cEvents",
    "DeviceStatus",
]


class StatusCode(IntEnum):
    """What the library itself says of a command; any other status is the adapter's own."""

    SUCCESS = 0x0000
    NO_RESPONSE = 0x2000
    NOT_CONNECTED = 0x4000
    UNEXPECTED_RESPONSE = 0x6000
    INVALID_ARGUMENT = 0x8000
    RESPONSE_TOO_SHORT = 0xA000
    ADAPTER_LOST = 0xC000


class OpenStatus(IntEnum):
    """How opening an adapter ended."""

    OPENED = 0
    NO_ADAPTER = 1
    SEVERAL_ADAPTERS = 2
    NO_PERMISSION = 3
    IN_USE = 4
    FAILED = 5


class GpioPinNumber(IntEnum):
    """Pin of the adapter."""

    PIN_0 = 0
    PIN_1 = 1
    PIN_2 = 2
    PIN_3 = 3
    PIN_4 = 4
    PIN_5 = 5
    PIN_6 = 6
    PIN_7 = 7


class GpioFunctionality(IntEnum):
    """Role of a pin."""

    INPUT = 0
    OUTPUT = 1
    INPUT_PULL_UP = 2
    INPUT_PULL_DOWN = 3
    OPEN_DRAIN = 4


class GpioLogicLevel(IntEnum):
    """Level of a pin."""

    LOW = 0
    HIGH = 1


class GpioTriggerType(IntEnum):
    """Pin event that raises an interrupt."""

    RISING_EDGE = 0
    FALLING_EDGE = 1
    BOTH_EDGES = 2


class SpiBitOrder(IntEnum):
    """Bit of a word that is shifted first."""

    MSB_FIRST = 0
    LSB_FIRST = 1


class SpiMode(IntEnum):
    """Clock polarity (CPOL) and phase (CPHA), by the usual mode numbers."""

    MODE_0 = 0
    MODE_1 = 1
    MODE_2 = 2
    MODE_3 = 3


class SpiDataWidth(IntEnum):
    """Bits of one SPI word."""

    BITS_8 = 0
    BITS_16 = 1


class SpiChipSelect(IntEnum):
    """Chip-select line that the controller drives."""

    SELECT_0 = 0
    SELECT_1 = 1
    SELECT_2 = 2
    SELECT_3 = 3


class SpiChipSelectPolarity(IntEnum):
    """Level of the chip-select line while its target is selected."""

    ACTIVE_LOW = 0
    ACTIVE_HIGH = 1


class UartBaudRate(IntEnum):
    """Line speed in bits per second; the value is the number that travels, not the rate."""

    BAUD_1200 = 0
    BAUD_2400 = 1
    BAUD_4800 = 2
    BAUD_9600 = 3
    BAUD_19200 = 4
    BAUD_38400 = 5
    BAUD_57600 = 6
    BAUD_115200 = 7
    BAUD_230400 = 8
    BAUD_460800 = 9
    BAUD_921600 = 10


class UartHwHandshake(IntEnum):
    """Hardware flow control (RTS/CTS)."""

    DISABLED = 0
    ENABLED = 1


class UartParity(IntEnum):
    """Parity bit."""

    NONE = 0
    ODD = 1
    EVEN = 2


class UartDataSize(IntEnum):
    """Data bits of one character."""

    BITS_5 = 0
    BITS_6 = 1
    BITS_7 = 2
    BITS_8 = 3


class UartStopBit(IntEnum):
    """Stop bits after each character."""

    ONE = 0
    TWO = 1


class I3cPushPullRate(IntEnum):
    """SDR push-pull clock."""

    MHZ_12_5 = 0
    MHZ_8 = 1
    MHZ_6 = 2
    MHZ_4 = 3
    MHZ_2 = 4


class I3cOpenDrainTransferRate(IntEnum):
    """Open-drain clock of arbitration and addressing."""

    MHZ_1 = 0
    MHZ_2 = 1
    MHZ_4 = 2


class I2cTransferRate(IntEnum):
    """Clock of legacy I2C transfers on the I3C bus."""

    KHZ_100 = 0
    KHZ_400 = 1
    MHZ_1 = 2


class I3cDriveStrength(IntEnum):
    """Output drive strength of the I3C pins."""

    LOW = 0
    MEDIUM = 1
    HIGH = 2


class I3cTransferDirection(IntEnum):
    """Direction of an I3C transfer."""

    WRITE = 0
    READ = 1


class I3cTransferMode(IntEnum):
    """Mode of an I3C transfer."""

    SDR = 0
    HDR_DDR = 1
    LEGACY_I2C = 2


class I3cTransferFlags(IntFlag):
    """Options of an I3C private transfer; what each bit asks for is defined by the firmware."""

    NONE = 0
    BIT_0 = 1
    BIT_1 = 2
    BIT_2 = 4
    BIT_3 = 8
    BIT_4 = 16


class I3cCccType(IntEnum):
    """Whether a CCC carries a defining byte."""

    WITHOUT_DEFINING_BYTE = 0
    WITH_DEFINING_BYTE = 1


class I3cTargetResetDefByte(IntEnum):
    """Defining byte of RSTACT. From 0x81 on they are read, not written."""

    NO_RESET = 0x00
    RESET_PERIPHERAL = 0x01
    RESET_WHOLE_TARGET = 0x02
    RESET_DEBUG_ADAPTER = 0x03
    VIRTUAL_TARGET_DETECT = 0x04
    TIME_RESET_PERIPHERAL = 0x81
    TIME_RESET_WHOLE_TARGET = 0x82
    TIME_RESET_DEBUG_ADAPTER = 0x83
    VIRTUAL_TARGET_INDICATION = 0x84


class CCC(IntEnum):
    """I3C Common Command Codes. Those below 0x80 are broadcast, those from 0x80 are direct."""

    ENEC_BROADCAST = 0x00
    DISEC_BROADCAST = 0x01
    ENTAS0_BROADCAST = 0x02
    ENTAS1_BROADCAST = 0x03
    ENTAS2_BROADCAST = 0x04
    ENTAS3_BROADCAST = 0x05
    RSTDAA = 0x06
    ENTDAA = 0x07
    SETMWL_BROADCAST = 0x09
    SETMRL_BROADCAST = 0x0A
    SETBUSCON = 0x0C
    SETXTIME_BROADCAST = 0x28
    SETAASA = 0x29
    RSTACT_BROADCAST = 0x2A
    RSTGRPA_BROADCAST = 0x2C
    ENEC_DIRECT = 0x80
    DISEC_DIRECT = 0x81
    ENTAS0_DIRECT = 0x82
    ENTAS1_DIRECT = 0x83
    ENTAS2_DIRECT = 0x84
    ENTAS3_DIRECT = 0x85
    SETDASA = 0x87
    SETNEWDA = 0x88
    SETMWL_DIRECT = 0x89
    SETMRL_DIRECT = 0x8A
    GETMWL = 0x8B
    GETMRL = 0x8C
    GETPID = 0x8D
    GETBCR = 0x8E
    GETDCR = 0x8F
    GETSTATUS = 0x90
    GETMXDS = 0x94
    GETCAPS = 0x95
    SETXTIME_DIRECT = 0x98
    GETXTIME = 0x99
    RSTACT_DIRECT = 0x9A
    SETGRPA = 0x9B
    RSTGRPA_DIRECT = 0x9C


class NotificationKind(IntEnum):
    """What an unsolicited frame of the adapter reports."""

    I3C_HOT_JOIN = 0
    I3C_IBI = 1
    GPIO_INTERRUPT = 2
    UART_RX = 3
    UNKNOWN = 4


class I3cEvents(IntFlag):
    """Events that ENEC and DISEC switch, numbered by the I3C standard."""

    IN_BAND_INTERRUPT = 0x01
    CONTROLLER_ROLE_REQUEST = 0x02
    HOT_JOIN = 0x08


class DeviceStatus(IntEnum):
    """The adapter's own statuses that have a name here; the firmware has the last word on them."""

    UNKNOWN_COMMAND = 0x0101
    MALFORMED_FRAME = 0x0102
    BAD_PARAMETER = 0x0103
    BAD_BUS = 0x0104
    BAD_PIN = 0x0105
    NOT_INITIALISED = 0x0106
    VOLTAGE_OUT_OF_RANGE = 0x0201
    PIN_IS_INPUT = 0x0202
    NACK = 0x0301
    ADDRESS_IN_USE = 0x0302
    UNKNOWN_TARGET = 0x0303
    BUS_STUCK = 0x0304
