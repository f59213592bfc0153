#include "clock_face.h"

#include <stdint.h>
#include <string.h>
#include <zlib.h>

enum { SIZE = 72, ROW = SIZE + 1 }; /* each row begins with a byte for its filter: none */

static void fill(unsigned char* rows, int x, int y, int width, int height) {
  for (int i = 0; i < height; ++i) memset(rows + (y + i) * ROW + 1 + x, 0xd0, (size_t)width);
}

/* Seven bars; a bit each, from the top clockwise, the one in the middle last. */
static void paint_digit(unsigned char* rows, int digit, int x, int y) {
  static const unsigned char bars[10] = {0x3f, 0x06, 0x5b, 0x4f, 0x66,
                                         0x6d, 0x7d, 0x07, 0x7f, 0x6f};
  static const int place[7][4] = {{0, 0, 12, 3},  {9, 0, 3, 13}, {9, 11, 3, 13}, {0, 21, 12, 3},
                                  {0, 11, 3, 13}, {0, 0, 3, 13}, {0, 11, 12, 3}};
  for (int i = 0; i < 7; ++i) {
    const int* bar = place[i];
    if (bars[digit] >> i & 1) fill(rows, x + bar[0], y + bar[1], bar[2], bar[3]);
  }
}

static void paint_number(unsigned char* rows, int number, int x, int y) {
  paint_digit(rows, number / 10, x, y);
  paint_digit(rows, number % 10, x + 15, y);
}

static void put_number(unsigned char* to, uint32_t number) {
  for (int i = 0; i < 4; ++i) to[i] = (unsigned char)(number >> (24 - 8 * i));
}

static unsigned char* put_chunk(unsigned char* to, const char* type, const void* data,
                                size_t size) {
  put_number(to, (uint32_t)size);
  memcpy(to + 4, type, 4);
  if (size > 0) memcpy(to + 8, data, size);
  put_number(to + 8 + size, (uint32_t)crc32(0, to + 4, (uInt)size + 4));
  return to + size + 12;
}

size_t paint_clock(time_t now, unsigned char file[CLOCK_FACE_BYTES]) {
  static const unsigned char header[13] = {0, 0, 0, SIZE, 0, 0, 0, SIZE, 8}; /* 8 bits of grey */
  unsigned char rows[SIZE * ROW] = {0};
  unsigned char packed[CLOCK_FACE_BYTES - 100];
  uLongf packed_size = sizeof packed;
  const long day = (long)(now % 86400);

  paint_number(rows, (int)(day / 3600), 6, 8);
  paint_number(rows, (int)(day / 60 % 60), 39, 8);
  paint_number(rows, (int)(day % 60), 23, 40);
  if (compress(packed, &packed_size, rows, sizeof rows) != Z_OK) return 0;

  memcpy(file, "\x89PNG\r\n\x1a\n", 8);
  unsigned char* end = put_chunk(file + 8, "IHDR", header, sizeof header);
  end = put_chunk(end, "IDAT", packed, packed_size);
  end = put_chunk(end, "IEND", NULL, 0);
  return (size_t)(end - file);
}
