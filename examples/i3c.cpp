// Brings the I3C bus up, lists its targets, and writes and reads registers of the first one.
#include "bench.hpp"

int main(int argc, char** argv)
{
    return run(argc, argv, [](TarvixSDK& adapter) {
        check(adapter.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                        I2cTransferRate::KHZ_400, I3cDriveStrength::MEDIUM),
              "setting up I3C");
        check(adapter.i3cInitBus({}), "initialising the bus");
        check(adapter.i3cCccENTDAA(), "assigning addresses");

        std::vector<I3cTargetInfo> targets;
        check(adapter.i3cGetDeviceTable(targets), "reading the device table");
        for (const I3cTargetInfo& target : targets) {
            std::printf("0x%02x: PID", target.dynamicAddress);
            for (const std::uint8_t byte : target.pid) {
                std::printf(" %02x", byte);
            }
            std::printf(", BCR %02x, DCR %02x\n", target.bcr, target.dcr);
        }
        if (targets.empty()) {
            throw std::runtime_error("no target on the bus took an address");
        }

        const std::uint8_t address = targets.front().dynamicAddress;
        std::vector<std::uint8_t> data;
        check(adapter.i3cSdrWrite(address, {0x10}, {0xCA, 0xFE}, I3cTransferFlags::NONE), "writing");
        check(adapter.i3cSdrRead(address, {0x10}, 2, data, I3cTransferFlags::NONE), "reading");
        if (data.size() < 2) {
            throw std::runtime_error("the target ended the read early");
        }
        std::printf("registers 0x10, 0x11: %02x %02x\n", data[0], data[1]);
    });
}
