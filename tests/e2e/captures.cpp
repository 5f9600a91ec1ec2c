#include <cstdio>
#include <string>

#include "scenario.hpp"

namespace e2e {

namespace {

// Records one run twice, by the kernel and by the recorder, and prints what both show of it. tcpdump gets records from
// the kernel some time after they were made.
constexpr const char* RECORD_TWICE = R"shell(
usb=/sys/class/hidraw/${1##*/}/device/../..
place="device $(cat $usb/devnum) bus $(cat $usb/busnum)"
cd "$(mktemp -d)" || exit
tcpdump -Z root -U -i usbmon0 -s 0 -w kernel.pcap 2>log &
until grep -q listening log; do sleep 0.1; done
tarvix trace -o own.pcap -- sh -c '
    tarvix i2c set 0x50 0x10 1 2 3 4 5 6 7 8 && tarvix i2c get 0x48 0 -n 2 && tarvix i2c get 0x50 0x10 -n 8' || exit
show() {
    tarvix trace show "$1.pcap" --family i2c | sed 's/^[0-9:.]* *[0-9.a-z]* *//' >"$1"
}
show own
for _ in 1 2 3 4 5 6 7 8 9 10; do
    show kernel 2>/dev/null
    [ "$(wc -l <kernel)" -lt "$(wc -l <own)" ] || break
    sleep 1
done
kill %1
grep -v controller own
# Of the first record, the device and the lower byte of the bus.
[ "$(od -An -tu1 -j 51 -N 2 own.pcap | awk '{ print "device", $1, "bus", $2 }')" = "$place" ] || echo "not at $place"
diff own kernel && for name in own kernel; do echo "capture $2.$name $(base64 -w 0 $name.pcap)"; done && echo alike
)shell";

const Scenario CAPTURES("captures", [](Place place) {
    const VirtualCable cable(place);
    if (place.port == Port::UHID) {
        return; // not USB
    }
    const Outcome outcome = run({"sh", "-c", RECORD_TWICE, "sh", cable.node(), std::to_string(place.reportSize)});
    require(outcome.output.find("i2c read bus 0 0x48 reg 00 len 2 -> 17 80") != std::string::npos &&
                outcome.output.find("not at") == std::string::npos && outcome.output.ends_with("\nalike\n"),
            "the kernel's capture and ours: " + outcome.output);
    std::printf("%s",
                outcome.output.substr(outcome.output.find("capture ")).c_str()); // script/e2e has tshark look at them
});

} // namespace

} // namespace e2e
