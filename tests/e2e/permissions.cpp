#include "scenarios.hpp"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <unistd.h>

#include <tarvixsdk/sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

constexpr uid_t USER = 1000;
constexpr gid_t GROUP = 46; // plugdev, as in the machine's /etc/group

// Makes the attempt in a process of somebody who isn't root; returns its exit status.
int asUser(std::vector<gid_t> groups, const std::function<int()>& attempt)
{
    return inProcess([&] {
        const bool became =
            ::setgroups(groups.size(), groups.data()) == 0 && ::setgid(USER) == 0 && ::setuid(USER) == 0;
        return became ? attempt() : 126;
    });
}

enum Attempt : int { OPENED, REFUSED };

int tryToOpen(const std::string& serialNumber)
{
    TarvixSDK sdk(TIMEOUT_MS);
    return sdk.connectWithSerialNumber(serialNumber) ? OPENED : REFUSED;
}

constexpr const char* RULES = "/usr/lib/udev/rules.d/70-tarvix.rules";
constexpr const char* OWN_RULES = "/etc/udev/rules.d/70-tarvix.rules"; // takes the place of the former

std::string tagsOf(const VirtualCable& cable)
{
    const std::string properties = run({"udevadm", "info", "--query=property", "--name", cable.node()}).output;
    const auto begin = properties.find("CURRENT_TAGS=");
    return begin == std::string::npos ? "" : properties.substr(begin, properties.find('\n', begin) - begin);
}

// The rules as a machine without a seat has them, each with a tag of its own that tells which of them matched.
std::vector<std::string> installOwnRules()
{
    const std::string tag = "TAG+=\"uaccess\"";
    std::vector<std::string> rules;
    std::istringstream lines(contentsOf(RULES));
    std::ofstream copy(OWN_RULES);
    for (std::string line; std::getline(lines, line);) {
        if (const auto place = line.find(tag); place != std::string::npos && line[0] != '#') {
            rules.push_back(line);
            line.insert(place + tag.size(),
                        ", GROUP=\"plugdev\", MODE=\"0660\", TAG+=\"rule" + std::to_string(rules.size()) + '"');
        }
        copy << line << '\n';
    }
    require(copy.flush().good(), std::string("cannot write ") + OWN_RULES);
    return rules;
}

bool shouldMatch(const std::string& rule, Place place)
{
    const bool sameProduct = rule.find(place.reportSize == 64 ? "82fc" : "82fd") != std::string::npos ||
                             rule.find(place.reportSize == 64 ? "82FC" : "82FD") != std::string::npos;
    const bool aboutUsb = rule.find("ATTRS") != std::string::npos;
    return sameProduct && (!aboutUsb || place.port == Port::GADGET);
}

} // namespace

void permissions(Place place)
{
    constexpr int NO_PERMISSION = 5;
    const std::string file = "/tmp/tool-output";
    const VirtualCable cable(place);
    require(tryToOpen(place.serialNumber()) == OPENED, "root cannot open the node");
    require(asUser({}, [&] { return tryToOpen(place.serialNumber()); }) == REFUSED,
            "a user without permission opens the node");

    for (const bool exclusive : {true, false}) {
        const int told = asUser({}, [&] {
            TarvixSDK sdk(TIMEOUT_MS);
            const OpenResult result = sdk.open({.serialNumber = place.serialNumber(), .exclusive = exclusive});
            return result.status == OpenStatus::NO_PERMISSION && result.path == cable.node() ? 0 : 1;
        });
        require(told == 0, "open does not tell that the node may not be opened");
    }

    ::unlink(file.c_str());
    const int exitStatus = asUser({}, [&]() -> int {
        ::dup2(::open(file.c_str(), O_WRONLY | O_CREAT, 0644), STDERR_FILENO);
        execute({"tarvix", "--adapter", place.serialNumber(), "info"});
    });
    const std::string output = contentsOf(file);
    require(exitStatus == NO_PERMISSION && output.find("70-tarvix.rules") != std::string::npos,
            "tarvix without permission: exit status " + std::to_string(exitStatus) + ", " + output);
}

void udevRule(Place place)
{
    ::unlink(OWN_RULES);
    run({"udevadm", "control", "--reload"});
    VirtualCable cable(place);
    eventually("udev tags the node", [&] { return tagsOf(cable).find(":uaccess:") != std::string::npos; });
    const std::string name = cable.node().substr(std::string("/dev/").size());
    const std::string test = run({"udevadm", "test", "/sys/class/hidraw/" + name}).output;
    require(test.find(RULES) != std::string::npos, "udevadm test does not read the rules: " + test);
    if (const auto complaint = test.find(std::string(RULES) + ':'); complaint != std::string::npos) {
        throw Failed("udev complains: " + test.substr(complaint, test.find('\n', complaint) - complaint));
    }

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
    const auto attempt = [&] { return tryToOpen(place.serialNumber()); };
    require(asUser({GROUP}, attempt) == OPENED, "a member of the group cannot open the node");
    require(asUser({}, attempt) == REFUSED, "somebody outside the group opens the node");
    ::unlink(OWN_RULES);
    run({"udevadm", "control", "--reload"});
}

} // namespace e2e
