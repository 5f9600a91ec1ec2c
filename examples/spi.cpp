// Identifies the SPI flash on select 0.
#include "bench.hpp"

int main(int argc, char** argv)
{
    return run(argc, argv, [](TarvixSDK& adapter) {
        check(adapter.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                        SpiChipSelect::SELECT_0, SpiChipSelectPolarity::ACTIVE_LOW, 10'000'000),
              "setting up SPI");
        std::vector<std::uint8_t> command{0x9F, 0, 0, 0}; // read identification, then clock three bytes in
        std::vector<std::uint8_t> answer;
        check(adapter.spiTransfer(command, answer, 4), "reading the identification");
        std::printf("maker %02x, type %02x, %u KiB\n", answer[1], answer[2], 1U << (answer[3] & 0x1F) >> 10);
    });
}
