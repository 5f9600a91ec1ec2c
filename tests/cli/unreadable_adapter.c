/* Stands in for hidapi in the tool's tests: lists adapters that nobody can open. TARVIX_TEST_ADAPTERS holds them,
 * one a line: path, a tabulator, serial number. */
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <hidapi/hidapi.h>

struct hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    (void)vendor_id;
    (void)product_id;
    struct hid_device_info* first = NULL;
    struct hid_device_info** next = &first;
    char* text = strdup(getenv("TARVIX_TEST_ADAPTERS"));
    for (char* line = strtok(text, "\n"); line != NULL; line = strtok(NULL, "\n")) {
        const size_t path_length = strcspn(line, "\t");
        struct hid_device_info* entry = calloc(1, sizeof *entry);
        entry->vendor_id = 0x1FC9;
        entry->product_id = 0x82FC;
        entry->path = strndup(line, path_length);
        entry->serial_number = calloc(strlen(line), sizeof(wchar_t));
        mbstowcs(entry->serial_number, line + path_length + 1, strlen(line));
        *next = entry;
        next = &entry->next;
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
