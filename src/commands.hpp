// The commands of the adapter: their codes on the wire and their names. The one place that lists them all, for the
// library, the virtual adapter and the tests that loop over every command.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

// Bytes 2..3 of a request frame; the response repeats it. The high byte is the family.
enum class CommandCode : std::uint16_t {
    RESET_DEVICE = 0x0401,
    ENTER_BOOT_MODE = 0x0402,
    SET_I3C_VOLTAGE = 0x0404,
    SET_SHARED_VOLTAGE = 0x0405,
    GET_USB_STRING = 0x0407,
    GET_ANALOG_MEASUREMENTS = 0x0409,
    USE_EXTERNAL_I3C_VOLTAGE = 0x040A,
    USE_EXTERNAL_SHARED_VOLTAGE = 0x040B,

    I2C_SET_PULL_UP_RESISTORS = 0x0802,
    I2C_CONTROLLER_INIT = 0x0901,
    I2C_SET_PARAMETERS = 0x0902,
    I2C_WRITE = 0x0904,
    I2C_READ = 0x0905,
    I2C_SCAN_BUS = 0x0906,

    SPI_CONTROLLER_INIT = 0x0D01,
    SPI_SET_PARAMETERS = 0x0D02,
    SPI_TRANSFER = 0x0D04,

    UART_DEINIT = 0x1001,
    UART_INIT = 0x1002,
    UART_SET_PARAMETERS = 0x1003,
    UART_SEND_MESSAGE = 0x1005,

    GPIO_CONFIGURE_PIN = 0x1401,
    GPIO_DIGITAL_WRITE = 0x1402,
    GPIO_DIGITAL_READ = 0x1403,
    GPIO_CONFIGURE_INTERRUPT = 0x1404,
    GPIO_DISABLE_INTERRUPT = 0x1405,

    I3C_CONTROLLER_INIT = 0x1901,
    I3C_SET_PARAMETERS = 0x1902,
    I3C_INIT_BUS = 0x1904,
    I3C_RESET_BUS = 0x1905,
    I3C_GET_DEVICE_TABLE = 0x1906,
    I3C_SET_TARGET_CONFIGURATION = 0x1907,
    I3C_PRIVATE_TRANSFER = 0x1908,
    I3C_CCC_TRANSFER = 0x1909,
    I3C_BUS_PATTERN = 0x190A,
};

// Bytes 2..3 of a notification frame, whose transaction id is 0.
enum class NotificationCode : std::uint16_t {
    UART_RX = 0x1081,
    GPIO_INTERRUPT = 0x1481,
    I3C_IBI = 0x1981,
    I3C_HOT_JOIN = 0x1982,
};

struct CommandInfo {
    CommandCode code;
    std::string_view name;
};

inline constexpr std::array COMMANDS{
    CommandInfo{CommandCode::RESET_DEVICE, "reset device"},
    CommandInfo{CommandCode::ENTER_BOOT_MODE, "enter boot mode"},
    CommandInfo{CommandCode::SET_I3C_VOLTAGE, "set I3C rail voltage"},
    CommandInfo{CommandCode::SET_SHARED_VOLTAGE, "set shared rail voltage"},
    CommandInfo{CommandCode::GET_USB_STRING, "get USB string"},
    CommandInfo{CommandCode::GET_ANALOG_MEASUREMENTS, "get analog measurements"},
    CommandInfo{CommandCode::USE_EXTERNAL_I3C_VOLTAGE, "use external I3C rail"},
    CommandInfo{CommandCode::USE_EXTERNAL_SHARED_VOLTAGE, "use external shared rail"},
    CommandInfo{CommandCode::I2C_SET_PULL_UP_RESISTORS, "I2C set pull-up resistors"},
    CommandInfo{CommandCode::I2C_CONTROLLER_INIT, "I2C controller init"},
    CommandInfo{CommandCode::I2C_SET_PARAMETERS, "I2C set parameters"},
    CommandInfo{CommandCode::I2C_WRITE, "I2C write"},
    CommandInfo{CommandCode::I2C_READ, "I2C read"},
    CommandInfo{CommandCode::I2C_SCAN_BUS, "I2C scan bus"},
    CommandInfo{CommandCode::SPI_CONTROLLER_INIT, "SPI controller init"},
    CommandInfo{CommandCode::SPI_SET_PARAMETERS, "SPI set parameters"},
    CommandInfo{CommandCode::SPI_TRANSFER, "SPI transfer"},
    CommandInfo{CommandCode::UART_DEINIT, "UART deinit"},
    CommandInfo{CommandCode::UART_INIT, "UART init"},
    CommandInfo{CommandCode::UART_SET_PARAMETERS, "UART set parameters"},
    CommandInfo{CommandCode::UART_SEND_MESSAGE, "UART send message"},
    CommandInfo{CommandCode::GPIO_CONFIGURE_PIN, "GPIO configure pin"},
    CommandInfo{CommandCode::GPIO_DIGITAL_WRITE, "GPIO digital write"},
    CommandInfo{CommandCode::GPIO_DIGITAL_READ, "GPIO digital read"},
    CommandInfo{CommandCode::GPIO_CONFIGURE_INTERRUPT, "GPIO configure interrupt"},
    CommandInfo{CommandCode::GPIO_DISABLE_INTERRUPT, "GPIO disable interrupt"},
    CommandInfo{CommandCode::I3C_CONTROLLER_INIT, "I3C controller init"},
    CommandInfo{CommandCode::I3C_SET_PARAMETERS, "I3C set parameters"},
    CommandInfo{CommandCode::I3C_INIT_BUS, "I3C init bus"},
    CommandInfo{CommandCode::I3C_RESET_BUS, "I3C reset bus"},
    CommandInfo{CommandCode::I3C_GET_DEVICE_TABLE, "I3C get device table"},
    CommandInfo{CommandCode::I3C_SET_TARGET_CONFIGURATION, "I3C set target configuration"},
    CommandInfo{CommandCode::I3C_PRIVATE_TRANSFER, "I3C private transfer"},
    CommandInfo{CommandCode::I3C_CCC_TRANSFER, "I3C CCC transfer"},
    CommandInfo{CommandCode::I3C_BUS_PATTERN, "I3C bus pattern"},
};
