#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <grp.h>
#include <unistd.h>

#include <tarvixsdk/async_sdk.hpp>

#include "scenario.hpp"
#include "support/received.hpp"

namespace e2e {

namespace {

bool isKeptOut(const VirtualCable& cable, const Place& place, pid_t holder)
{
    TarvixSDK sdk(TIMEOUT_MS);
    const OpenResult result = sdk.open({.serialNumber = place.serialNumber()});
    return result.status == OpenStatus::IN_USE && result.holder == holder && result.path == cable.node() &&
           result.message.find("process " + std::to_string(holder) + " (tarvix-e2e)") != std::string::npos;
}

const Scenario LOCK("lock", [](Place place) {
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    openStrict(sdk, place);
    Child other([&, self = ::getpid()] { return isKeptOut(cable, place, self) ? 0 : 1; });
    require(other.wait() == 0, "another process is not kept out");
    require(serialNumberOf(sdk) == place.serialNumber(), "the session suffers");

    // A plain session asks for no lock: both get every answer, and the strict one drops what is not its own.
    Received<Bytes> heard;
    TarvixAsyncSDK listener;
    listener.onResponse([&](const Bytes& frame) { heard.add(frame); });
    require(listener.connectWithSerialNumber(place.serialNumber()), "a plain session is kept out");
    serialNumberOf(sdk);
    require(heard.atLeast(1).size() == 1, "a plain session does not hear the other's answers");
    listener.gpioDigitalRead(1, GpioPinNumber::PIN_0);
    eventually("the strict session drops the other's answer", [&] { return sdk.unmatchedResponses() == 1; });
    require(serialNumberOf(sdk) == place.serialNumber(), "the strict session takes the other's answer");
    listener.disconnect();
    sdk.disconnect();

    Child holder([&] {
        TarvixSDK itsSdk(TIMEOUT_MS);
        openStrict(itsSdk, place);
        return ::raise(SIGSTOP); // tells that it is open
    });
    holder.waitUntilStopped();
    require(isKeptOut(cable, place, holder.id()), "a held adapter opens, or its holder is not named");
    holder.end(SIGKILL);
    openStrict(sdk, place);
    require(serialNumberOf(sdk) == place.serialNumber(), "the lock's heir cannot use the adapter");
});

// Makes this process that of somebody who isn't root.
void becomeUser(const std::vector<gid_t>& groups)
{
    constexpr uid_t USER = 1000;
    require(::setgroups(groups.size(), groups.data()) == 0 && ::setgid(USER) == 0 && ::setuid(USER) == 0,
            "cannot become a user");
}

// Whether `open` ends so for a user in these groups, and names the node.
bool endsFor(const std::vector<gid_t>& groups, const VirtualCable& cable, OpenOptions options, OpenStatus status)
{
    Child user([&] {
        becomeUser(groups);
        TarvixSDK sdk(TIMEOUT_MS);
        const OpenResult result = sdk.open(options);
        return result.status == status && result.path == cable.node() ? 0 : 1;
    });
    return user.wait() == 0;
}

const Scenario PERMISSIONS("permissions", [](Place place) {
    constexpr int NO_PERMISSION = 5;
    const VirtualCable cable(place);
    for (const bool exclusive : {true, false}) {
        require(endsFor({}, cable, {.serialNumber = place.serialNumber(), .exclusive = exclusive},
                        OpenStatus::NO_PERMISSION),
                "open does not tell that the node may not be opened");
    }
    const Outcome tool = run({"tarvix", "--adapter", place.serialNumber(), "info"}, [] { becomeUser({}); });
    require(tool.exitStatus == NO_PERMISSION && tool.output.find("70-tarvix.rules") != std::string::npos,
            "tarvix without permission: exit status " + std::to_string(tool.exitStatus) + ", " + tool.output);
});

constexpr const char* RULES = "/usr/lib/udev/rules.d/70-tarvix.rules";
constexpr const char* OWN_RULES = "/etc/udev/rules.d/70-tarvix.rules"; // takes the place of the former

std::string tagsOf(const VirtualCable& cable)
{
    const std::string properties = run({"udevadm", "info", "--query=property", "--name", cable.node()}).output;
    const auto begin = properties.find("CURRENT_TAGS=");
    return begin == std::string::npos ? "" : properties.substr(begin, properties.find('\n', begin) - begin);
}

// The rules, each with a tag of its own that tells which of them matched.
std::vector<std::string> installOwnRules()
{
    std::vector<std::string> rules;
    std::istringstream lines(contentsOf(RULES));
    std::ofstream copy(OWN_RULES);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] != '#') {
            rules.push_back(line);
            line += ", TAG+=\"rule" + std::to_string(rules.size()) + '"';
        }
        copy << line << '\n';
    }
    require(copy.flush().good(), std::string("cannot write ") + OWN_RULES);
    return rules;
}

// A line of `udevadm test` about the rules that does not tell what was done by them.
std::string complaintIn(const std::string& test)
{
    std::istringstream lines(test);
    for (std::string line; std::getline(lines, line);) {
        const bool aboutRules = line.find(std::string(RULES) + ':') != std::string::npos;
        if (aboutRules && line.find(" GROUP ") == std::string::npos && line.find(" MODE ") == std::string::npos) {
            return line;
        }
    }
    return "";
}

bool shouldMatch(const std::string& rule, const Place& place)
{
    const bool aboutProduct = ::strcasestr(rule.c_str(), place.reportSize == 64 ? "82fc" : "82fd") != nullptr;
    const bool aboutUsb = rule.find("ATTRS") != std::string::npos;
    return aboutProduct && (!aboutUsb || place.port == Port::GADGET);
}

const Scenario UDEV_RULE("udev-rule", [](Place place) {
    ::unlink(OWN_RULES);
    run({"udevadm", "control", "--reload"});
    VirtualCable cable(place);
    eventually("udev tags the node", [&] { return tagsOf(cable).find(":uaccess:") != std::string::npos; });
    const std::string name = cable.node().substr(std::string("/dev/").size());
    const std::string test = run({"udevadm", "test", "/sys/class/hidraw/" + name}).output;
    require(test.find(RULES) != std::string::npos, "udevadm test does not read the rules: " + test);
    require(complaintIn(test).empty(), "udev complains: " + complaintIn(test));

    // Of a machine without a seat: the group decides.
    constexpr gid_t PLUGDEV = 46; // as in the machine's /etc/group
    require(endsFor({PLUGDEV}, cable, {}, OpenStatus::OPENED), "a member of the group cannot open the node");
    require(endsFor({}, cable, {}, OpenStatus::NO_PERMISSION), "somebody outside the group opens the node");
    const std::string advice = run({"tarvix", "doctor"}, [] { becomeUser({}); }).output;
    require(advice.find("sudo gpasswd -a user plugdev") != std::string::npos,
            "doctor does not name the group: " + advice);

    cable.pull();
    const std::vector<std::string> rules = installOwnRules();
    run({"udevadm", "control", "--reload"});
    cable.plug();
    eventually("udev tags the node anew", [&] { return tagsOf(cable).find(":rule") != std::string::npos; });
    const std::string tags = tagsOf(cable);
    for (std::size_t i = 0; i < rules.size(); ++i) {
        const bool matched = tags.find(":rule" + std::to_string(i + 1) + ':') != std::string::npos;
        require(matched == shouldMatch(rules[i], place), (matched ? "matches: " : "does not match: ") + rules[i]);
    }
    ::unlink(OWN_RULES);
    run({"udevadm", "control", "--reload"});
});

} // namespace

} // namespace e2e
