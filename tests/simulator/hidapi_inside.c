/* A program with hidapi linked in, which also asks hidraw and udev itself: nothing of it calls the shared hidapi.
 * Usage: hidapi_inside TARVIX_SIM, under `tarvix-sim run --adapters 3`. Prints what it finds. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <hidapi.h>
#include <libudev.h>
#include <linux/hidraw.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

enum { REPORT = 64 };

static const char* tarvix_sim;

static void trigger(const char* event)
{
    char command[4096];
    snprintf(command, sizeof command, "%s trigger %s --adapter TVX0000002", tarvix_sim, event);
    if (system(command) != 0) {
        puts("trigger failed");
    }
}

static void list(void)
{
    struct hid_device_info* const first = hid_enumerate(0x1FC9, 0x82FC);
    for (const struct hid_device_info* info = first; info; info = info->next) {
        printf("%ls usage %04x, ", info->serial_number, info->usage_page);
    }
    puts("");
    hid_free_enumeration(first);
}

/* Asks for USB string 3, the serial number, and fills in the path. */
static hid_device* converse(char* path, size_t size)
{
    const unsigned char request[1 + REPORT] = {0x00, 0x17, 0x00, 0x01, 0x00, 0x07, 0x04, 0x03};
    unsigned char answer[REPORT] = {0};
    wchar_t serial[32] = L"";
    wchar_t product[32] = L"";
    hid_device* const device = hid_open(0x1FC9, 0x82FC, L"TVX0000002");
    hid_get_serial_number_string(device, serial, 32);
    hid_get_product_string(device, product, 32);
    const int written = hid_write(device, request, sizeof request);
    const int read = hid_read_timeout(device, answer, sizeof answer, 10000);
    printf("%ls %ls: %d, %d %.10s\n", serial, product, written, read, (const char*)answer + 9);
    snprintf(path, size, "%s", hid_get_device_info(device)->path);
    return device;
}

/* Returns a handle of its own. */
static int ask_the_node(const char* path)
{
    struct hidraw_devinfo info = {0};
    struct hidraw_report_descriptor descriptor = {0};
    int size = 0;
    char unique[5] = "";
    char feature[8] = {0};
    struct stat status;
    const int node = open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const int copy = dup(node);
    const int inherited = fcntl(node, F_GETFD) & FD_CLOEXEC;
    struct timeval limit = {1, 1};
    getsockopt(node, SOL_SOCKET, SO_RCVTIMEO, &limit, &(socklen_t){sizeof limit});
    ioctl(copy, HIDIOCGRAWINFO, &info);
    ioctl(copy, HIDIOCGRDESCSIZE, &size);
    descriptor.size = (unsigned)size;
    ioctl(copy, HIDIOCGRDESC, &descriptor);
    const int length = ioctl(copy, HIDIOCGRAWUNIQ(sizeof unique), unique);
    printf("%x %04hx:%04hx, %d bytes from %02x to %02x, %d %.5s, cloexec %d, limit %ld, ", info.bustype, info.vendor,
           info.product, size, descriptor.value[0], size > 0 ? descriptor.value[size - 1] : 0, length, unique,
           inherited, (long)limit.tv_sec);
    printf("%d, ", ioctl(copy, HIDIOCGFEATURE(sizeof feature), feature) == -1 ? errno : 0);
    printf("%d, ", read(node, feature, sizeof feature) == -1 ? errno : 0);
    printf("%d, ", write(node, feature, 1) == -1 ? errno : 0);
    fstat(copy, &status);
    printf("%d, ", S_ISCHR(status.st_mode));
    close(copy);
    const int lock = open(path, O_RDONLY); /* the file, for a lock */
    fstat(lock, &status);
    printf("%d\n", S_ISREG(status.st_mode));
    close(lock);
    return node;
}

static void receive(struct udev_monitor* monitor)
{
    struct pollfd readable = {udev_monitor_get_fd(monitor), POLLIN, 0};
    poll(&readable, 1, 10000);
    struct udev_device* const device = udev_monitor_receive_device(monitor);
    if (device) {
        struct udev_device* const usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
        printf("%s %s %s\n", udev_device_get_action(device), udev_device_get_sysname(device),
               udev_device_get_sysattr_value(usb, "serial"));
    }
    udev_device_unref(device);
}

int main(int count, char** arguments)
{
    unsigned char report[1 + REPORT] = {0};
    char path[256];
    struct udev* const udev = udev_new();
    struct udev_monitor* const monitor = udev_monitor_new_from_netlink(udev, "udev");
    tarvix_sim = count > 1 ? arguments[1] : "tarvix-sim";
    udev_monitor_filter_add_match_subsystem_devtype(monitor, "hidraw", NULL);
    udev_monitor_enable_receiving(monitor);

    list();
    hid_device* device = converse(path, sizeof path);
    const int node = ask_the_node(path);

    trigger("unplug");
    receive(monitor);
    list();
    /* Each would wait for ever or end the program if the handle were not dead. */
    printf("read %d, write %d, ", hid_read(device, report, sizeof report), hid_write(device, report, sizeof report));
    hid_close(device);
    printf("write %d, node %d\n", write(node, report, sizeof report) == -1 ? errno : 0, access(path, F_OK));
    close(node);

    trigger("replug");
    receive(monitor);
    hid_close(converse(path, sizeof path));
    udev_monitor_unref(monitor);
    udev_unref(udev);
    return 0;
}
