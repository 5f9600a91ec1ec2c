// What the preloaded library asks the host: which adapters there are, and handles of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <vector>

#include "common/file_descriptor.hpp"
#include "ports/run/socket.hpp"

namespace sim {

struct Adapter {
    std::string path; // of its node
    std::uint16_t productId = 0;
    std::size_t reportSize = 0;
    std::string serialNumber;
    std::string manufacturer;
    std::string product;
};

// Whether this process runs under `tarvix-sim run`, and the private directory of that; no slash follows.
bool hasHost();
std::string_view privateDirectory();

// The adapters that are present; nothing when the host does not answer.
std::optional<std::vector<Adapter>> listAdapters();
std::optional<Adapter> adapterAt(std::string_view path);

// `fields` begins with an AdapterRecord.
Adapter adapterFrom(const std::string* fields);

// A connection that gets a message for each adapter that comes or goes; invalid when the host does not answer.
FileDescriptor watchAdapters();
bool isConnectionToHost(int descriptor);

// The number of the node that the path names; nothing when it is not one of this run.
std::optional<unsigned> nodeNumber(std::string_view path);

// A handle of the adapter: each message is one report. Invalid when there is no such adapter.
FileDescriptor openNode(std::string_view path);

// Of the node with this number. Linux keeps major numbers from 120 to 127 for local use.
inline dev_t deviceNumber(unsigned node)
{
    return makedev(120, node);
}

// The path of the node that the descriptor is a handle of, however the process came by it; nothing for any other.
std::optional<std::string> nodeOf(int descriptor);

// Writes one report, its id first; -1 with errno as hidraw has it.
ssize_t writeReport(int handle, const void* data, std::size_t size);

} // namespace sim
