#pragma once

#include <string>

#include <sys/stat.h>

namespace tool {

/** What decides whether a user may open a device node. */
struct NodeAccess {
    std::string user;          /**< who wants to */
    std::string group;         /**< the group that may, empty if none but root's */
    bool listed = false;       /**< whether the user is in that group, according to the system's lists */
    std::string rule;          /**< the rule that udev reads, empty if there is none */
    bool ruleHasGroup = false; /**< whether it names the group, as the one that comes with this program does */
    bool groupExists = false;  /**< whether the system has the group */
};

/** Who this process is to a node of this status. */
NodeAccess nodeAccess(const struct stat& status, const std::string& rule);

/** What to do where access was denied. */
std::string permissionAdvice(const NodeAccess& access);

} // namespace tool
