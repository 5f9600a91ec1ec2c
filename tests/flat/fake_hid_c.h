/* The hidapi double for programs in C: a machine with one adapter. */
#ifndef FAKE_HID_C_H
#define FAKE_HID_C_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Plugs the adapter in. */
void fake_hid_attach(void);

/* From now on each request is answered with these bytes, from the status on. */
void fake_hid_answer(const uint8_t* bytes, size_t length);

/* Lets the adapter send a whole frame unasked. */
void fake_hid_notify(const uint8_t* frame, size_t length);

/* Whether the last frame that the library sent was this one, from the command code on. Forgets it. */
int fake_hid_sent(const uint8_t* bytes, size_t length);

#ifdef __cplusplus
}
#endif

#endif
