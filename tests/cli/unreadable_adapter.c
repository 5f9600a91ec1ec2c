/* Stands in for hidapi in the tool's tests: lists adapters that nobody can open. TARVIX_TEST_ADAPTERS holds them,
 * one a line: path, a tabulator, serial number in UTF-8. */
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <hidapi/hidapi.h>

static struct hid_device_info entries[64];
static char text[4096];
static wchar_t serial_numbers[sizeof text];

struct hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    (void)vendor_id;
    (void)product_id;
    const locale_t usual = uselocale(newlocale(LC_CTYPE_MASK, "C.UTF-8", (locale_t)0));
    struct hid_device_info* entry = entries;
    strncpy(text, getenv("TARVIX_TEST_ADAPTERS"), sizeof text - 1);
    for (char* line = strtok(text, "\n"); line != NULL; line = strtok(NULL, "\n")) {
        char* serial_number = strchr(line, '\t');
        *serial_number++ = 0;
        *entry = (struct hid_device_info){.vendor_id = 0x1FC9, .product_id = 0x82FC, .path = line};
        entry->serial_number = serial_numbers + (serial_number - text);
        mbstowcs(entry->serial_number, serial_number, strlen(serial_number) + 1);
        entry->next = entry + 1;
        ++entry;
    }
    freelocale(uselocale(usual));
    if (entry == entries) {
        return NULL;
    }
    entry[-1].next = NULL;
    return entries;
}

void hid_free_enumeration(struct hid_device_info* first)
{
    (void)first;
}

hid_device* hid_open_path(const char* path)
{
    (void)path;
    return NULL;
}
