/**
 * @file
 * Finding adapters, opening one with a reason when it fails, and the names of statuses.
 */
#ifndef TARVIXSDK_ADAPTERS_HPP
#define TARVIXSDK_ADAPTERS_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tarvixsdk/types.h"

/**
 * One attached adapter. All texts are UTF-8; what is not valid Unicode in a device's strings becomes U+FFFD. They come
 * from the device: escape control characters before printing them.
 */
struct AdapterInfo {
    std::string path;            /**< hidapi's device path; on Linux the device node, such as /dev/hidraw3 */
    std::string serialNumber;    /**< empty when the adapter reports none */
    std::string manufacturer;    /**< empty when unknown */
    std::string product;         /**< empty when unknown */
    std::string usbPort;         /**< bus and port chain, such as "1-4.2"; empty where the system does not tell */
    std::uint16_t vendorId = 0;  /**< of the USB device */
    std::uint16_t productId = 0; /**< of the USB device; it goes with the report size */
    std::size_t reportSize = 0;  /**< bytes of one HID report: 64 or 1024 */
};

/**
 * Lists the supported adapters in the order in which hidapi finds them, opening none. Any thread may call it.
 */
TARVIX_API std::vector<AdapterInfo> listAdapters();

/** Which adapter to open, and how. */
struct OpenOptions {
    std::string path{};         /**< only the adapter with this path; empty for any */
    std::string serialNumber{}; /**< only an adapter with this serial number (UTF-8); empty for any */

    /**
     * Take an advisory lock on the device node (flock) and fail with `OpenStatus::IN_USE` when another session holds
     * it, in this process or another. The kernel releases it when the process ends, however it ends; children that
     * a crashed process has forked must have ended, too, or called exec. Programs that take no lock, plain `connect`
     * among them, are not kept out. Where the path is no file there is nothing to lock.
     */
    bool exclusive = true;

    /** Open a strict session: see `TarvixSDK::open`. */
    bool strict = true;

    /**
     * Open no adapter, whatever the members above choose: each request frame goes to this function, and the frame that
     * it returns arrives as the response; an empty one is no response. For tests, and for seeing what would be sent. It
     * runs on the thread that sends, one request at a time, and so do the session's handlers. It must not use the
     * session; what it throws leaves the command. It is let go when `disconnect` returns.
     */
    std::function<std::vector<std::uint8_t>(const std::vector<std::uint8_t>& request)> answer{};
};

/** How opening an adapter ended. */
struct OpenResult {
    OpenStatus status = OpenStatus::FAILED; /**< whether it is open, and if not, why */
    std::string path;        /**< the adapter opened, or the one that could not be; empty when none was chosen */
    std::int64_t holder = 0; /**< with `IN_USE`: id of the process that holds the lock; 0 where unknown */
    std::string message;     /**< for people: "/dev/hidraw3 is in use by process 4711 (logger)" */

    /** Whether an adapter is open. */
    explicit operator bool() const { return status == OpenStatus::OPENED; }
};

/**
 * Name of one of the library's statuses, such as "NO_RESPONSE".
 *
 * @return static text; null for a status of the adapter's own
 */
TARVIX_API const char* statusName(StatusCode status);

#endif
