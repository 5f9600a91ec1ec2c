/* Stands in for hidapi in the tool's tests: lists adapters that nobody can open. TARVIX_TEST_ADAPTERS holds them,
 * one a line: path, a tabulator, serial number. */
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <hidapi/hidapi.h>

static struct hid_device_info* new_entry(char* line)
{
    struct hid_device_info* entry = calloc(1, sizeof *entry);
    char* serial = strchr(line, '\t');
    if (entry == NULL || serial == NULL) {
        abort();
    }
    *serial++ = 0;
    entry->vendor_id = 0x1FC9;
    entry->product_id = 0x82FC;
    entry->path = strdup(line);
    entry->serial_number = calloc(strlen(serial) + 1, sizeof(wchar_t));
    for (size_t i = 0; serial[i] != 0; ++i) {
        entry->serial_number[i] = (unsigned char)serial[i];
    }
    return entry;
}

struct hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    (void)vendor_id;
    (void)product_id;
    struct hid_device_info* first = NULL;
    struct hid_device_info** next = &first;
    char* text = strdup(getenv("TARVIX_TEST_ADAPTERS"));
    for (char* line = strtok(text, "\n"); line != NULL; line = strtok(NULL, "\n")) {
        *next = new_entry(line);
        next = &(*next)->next;
    }
    free(text);
    return first;
}

void hid_free_enumeration(struct hid_device_info* entry)
{
    while (entry != NULL) {
        struct hid_device_info* next = entry->next;
        free(entry->path);
        free(entry->serial_number);
        free(entry);
        entry = next;
    }
}

hid_device* hid_open_path(const char* path)
{
    (void)path;
    return NULL;
}
