#include "commands/permission.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include <fmt/format.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include "adapter/listing.hpp"

namespace tool {

namespace {

constexpr const char* RULE_GROUP = "plugdev";
constexpr const char* APPLY = "sudo udevadm control --reload && sudo udevadm trigger --subsystem-match=hidraw";

bool isListed(const passwd& user, gid_t group)
{
    int count = 0;
    getgrouplist(user.pw_name, user.pw_gid, nullptr, &count); // says how many there are
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(count, 1)));
    return getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) >= 0 &&
           std::find(groups.begin(), groups.begin() + count, group) != groups.begin() + count;
}

} // namespace

NodeAccess nodeAccess(const struct stat& status, const std::string& rule)
{
    NodeAccess access;
    const passwd* const user = getpwuid(geteuid());
    access.user = user != nullptr ? user->pw_name : std::to_string(geteuid());
    constexpr mode_t GROUP_MAY = S_IRGRP | S_IWGRP;
    const group* const owner = getgrgid(status.st_gid);
    if (status.st_gid != 0 && owner != nullptr && (status.st_mode & GROUP_MAY) == GROUP_MAY) {
        access.group = owner->gr_name;
        access.listed = user != nullptr && isListed(*user, status.st_gid);
    }
    access.rule = rule;
    std::ifstream file(rule);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    access.ruleHasGroup = text.find(fmt::format("GROUP=\"{}\"", RULE_GROUP)) != std::string::npos;
    access.groupExists = getgrnam(RULE_GROUP) != nullptr;
    return access;
}

std::string permissionAdvice(const NodeAccess& access)
{
    if (access.listed) {
        return fmt::format("log in again: {} is in the group {} now, but was not when this session began", access.user,
                           access.group);
    }
    if (!access.group.empty()) {
        return fmt::format(
            "log in at the machine itself, or join the group {0} and log in again: sudo gpasswd -a {1} {0}",
            access.group, access.user);
    }
    if (access.rule.empty()) {
        return PERMISSION_ADVICE;
    }
    if (!access.ruleHasGroup) {
        return fmt::format(
            "log in at the machine itself, or replace {}: it has no group, and the one that comes with this "
            "program lets {} in",
            access.rule, RULE_GROUP);
    }
    if (!access.groupExists) {
        return fmt::format("log in at the machine itself, or create the group that the udev rule names: "
                           "sudo groupadd --system {0} && sudo gpasswd -a {1} {0} && {2}",
                           RULE_GROUP, access.user, APPLY);
    }
    return fmt::format("udev has not applied its rule to the adapter: replug it, or {}", APPLY);
}

} // namespace tool
