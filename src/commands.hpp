// The commands of the adapter: codes on the wire and names, each once, for the library, the virtual adapter and the
// tests that loop over every command.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

// Bytes 2..3 of a request, which the response repeats. The high byte is the family; the list is in rising order.
// clang-format off
#define TARVIX_COMMANDS(X)                                                  \
    X(RESET_DEVICE, 0x0401, "reset device")                                 \
    X(ENTER_BOOT_MODE, 0x0402, "enter boot mode")                           \
    X(SET_I3C_VOLTAGE, 0x0404, "set I3C rail voltage")                      \
    X(SET_SHARED_VOLTAGE, 0x0405, "set shared rail voltage")                \
    X(GET_USB_STRING, 0x0407, "get USB string")                             \
    X(GET_ANALOG_MEASUREMENTS, 0x0409, "get analog measurements")           \
    X(USE_EXTERNAL_I3C_VOLTAGE, 0x040A, "use external I3C rail")            \
    X(USE_EXTERNAL_SHARED_VOLTAGE, 0x040B, "use external shared rail")      \
    X(I2C_SET_PULL_UP_RESISTORS, 0x0802, "I2C set pull-up resistors")       \
    X(I2C_CONTROLLER_INIT, 0x0901, "I2C controller init")                   \
    X(I2C_SET_PARAMETERS, 0x0902, "I2C set parameters")                     \
    X(I2C_WRITE, 0x0904, "I2C write")                                       \
    X(I2C_READ, 0x0905, "I2C read")                                         \
    X(I2C_SCAN_BUS, 0x0906, "I2C scan bus")                                 \
    X(SPI_CONTROLLER_INIT, 0x0D01, "SPI controller init")                   \
    X(SPI_SET_PARAMETERS, 0x0D02, "SPI set parameters")                     \
    X(SPI_TRANSFER, 0x0D04, "SPI transfer")                                 \
    X(UART_DEINIT, 0x1001, "UART deinit")                                   \
    X(UART_INIT, 0x1002, "UART init")                                       \
    X(UART_SET_PARAMETERS, 0x1003, "UART set parameters")                   \
    X(UART_SEND_MESSAGE, 0x1005, "UART send message")                       \
    X(GPIO_CONFIGURE_PIN, 0x1401, "GPIO configure pin")                     \
    X(GPIO_DIGITAL_WRITE, 0x1402, "GPIO digital write")                     \
    X(GPIO_DIGITAL_READ, 0x1403, "GPIO digital read")                       \
    X(GPIO_CONFIGURE_INTERRUPT, 0x1404, "GPIO configure interrupt")         \
    X(GPIO_DISABLE_INTERRUPT, 0x1405, "GPIO disable interrupt")             \
    X(I3C_CONTROLLER_INIT, 0x1901, "I3C controller init")                   \
    X(I3C_SET_PARAMETERS, 0x1902, "I3C set parameters")                     \
    X(I3C_INIT_BUS, 0x1904, "I3C init bus")                                 \
    X(I3C_RESET_BUS, 0x1905, "I3C reset bus")                               \
    X(I3C_GET_DEVICE_TABLE, 0x1906, "I3C get device table")                 \
    X(I3C_SET_TARGET_CONFIGURATION, 0x1907, "I3C set target configuration") \
    X(I3C_PRIVATE_TRANSFER, 0x1908, "I3C private transfer")                 \
    X(I3C_CCC_TRANSFER, 0x1909, "I3C CCC transfer")                         \
    X(I3C_BUS_PATTERN, 0x190A, "I3C bus pattern")
// clang-format on

enum class CommandCode : std::uint16_t {
#define TARVIX_COMMAND_CODE(identifier, code, name) identifier = code,
    TARVIX_COMMANDS(TARVIX_COMMAND_CODE)
#undef TARVIX_COMMAND_CODE
};

struct CommandInfo {
    CommandCode code;
    std::string_view name;
};

inline constexpr std::array COMMANDS{
#define TARVIX_COMMAND_INFO(identifier, code, name) CommandInfo{CommandCode::identifier, name},
    TARVIX_COMMANDS(TARVIX_COMMAND_INFO)
#undef TARVIX_COMMAND_INFO
};

#undef TARVIX_COMMANDS

static_assert(std::ranges::adjacent_find(COMMANDS, std::ranges::greater_equal{}, &CommandInfo::code) == COMMANDS.end(),
              "two commands share a code, or a row is out of order");

// Bytes 2..3 of a notification, whose transaction id is 0.
enum class NotificationCode : std::uint16_t {
    UART_RX = 0x1081,
    GPIO_INTERRUPT = 0x1481,
    I3C_IBI = 0x1981,
    I3C_HOT_JOIN = 0x1982,
};
