/* A clock's face as a PNG file of 72 x 72 pixels. */
#ifndef CLOCK_FACE_H
#define CLOCK_FACE_H

#include <stddef.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { CLOCK_FACE_BYTES = 6000 }; /* more than a face ever takes */

/* Paints the time of day, in UTC. Returns the file's size. */
size_t paint_clock(time_t now, unsigned char file[CLOCK_FACE_BYTES]);

#ifdef __cplusplus
}
#endif

#endif
