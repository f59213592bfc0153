/* The simulator's side of Velomar for C and whatever can call C: libvelomar.
 *
 *   velomar_link *link = velomar_open(0);
 *   // in the simulator's loop, at least twice a second:
 *   const char *message;
 *   while (velomar_poll(link, &message) > 0) handle(message);
 *   velomar_title(link, context, "GEAR\ndown");
 *   // at the end:
 *   velomar_close(link);
 *
 * Results, unless a function says otherwise:
 *    1  done
 *    0  not now, and nothing has changed: the link is down, the store has no room, nothing waits
 *   -1  a mistake of the caller, and nothing has changed
 * After 0 and -1 velomar_last_error says why, but not after the 0 of a question (velomar_is_...). A
 * null pointer is such a mistake, and so is a text that isn't UTF-8. No C++ exception leaves a
 * function, and no function waits.
 *
 * Threads: any, one at a time for a link. A call during another thread's call for the same link
 * gets -1 and does nothing. Only one process at a time may be this end of the link.
 *
 * Texts that come back belong to the link: a message is good until the next velomar_poll, a
 * member until the next velomar_member or velomar_poll, and both until velomar_close. Texts that go
 * in are read before the function returns.
 */
#ifndef VELOMAR_H
#define VELOMAR_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define VELOMAR_API __attribute__((visibility("default")))
#else
#define VELOMAR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct velomar_link velomar_link;

/* Options of velomar_open, to be combined by |. */
enum {
  /* Delivers presses, turns and taps that were made before the panel knew this side, too. They wait
   * for the link, maybe for minutes, and are dropped otherwise: carried out then, they would be
   * gear up on the ground. */
  VELOMAR_LATE_INPUT = 1
};

/* Opens the link to the panel, which may be started before or after. NULL: it can't be opened, and
 * velomar_last_error says why. */
VELOMAR_API velomar_link* velomar_open(unsigned options);

/* Closes and frees the link. The panel goes blank within 10 seconds. NULL does nothing. -1: another
 * thread is in a call for the link, and it isn't closed. */
VELOMAR_API int velomar_close(velomar_link* link);

/* Puts the panel's next message into *message, a JSON object as text. Groups are taken apart. 0:
 * none waits; *message is NULL then, and after -1. The call also keeps the link up, so make it even
 * when no press is expected. */
VELOMAR_API int velomar_poll(velomar_link* link, const char** message);

/* Returns a member of the message that velomar_poll returned last: a text as it is, a number or
 * truth value as JSON writes it. NULL: there is no such member, or the caller made a mistake. */
VELOMAR_API const char* velomar_member(velomar_link* link, const char* name);

/* 1: the panel's Hello was answered with a welcome, and it has written within 10 seconds. */
VELOMAR_API int velomar_is_up(velomar_link* link);

/* 1: the panel has answered the welcome, and has written within the last seconds. */
VELOMAR_API int velomar_is_anybody_there(velomar_link* link);

/* Sends a message, a JSON object as text. */
VELOMAR_API int velomar_send(velomar_link* link, const char* message);

/* Sets the text of a key or dial. Lines are parted by a line feed. */
VELOMAR_API int velomar_title(velomar_link* link, const char* context, const char* title);

/* Shows an image, the bytes of a PNG file, on a key or dial. The number, below 4000000000, belongs
 * to these bytes: they are sent once, and other bytes with this number never are. */
VELOMAR_API int velomar_image(velomar_link* link, const char* context, uint32_t id, const void* png,
                              size_t size);

/* Shows the next frame of a moving picture, the bytes of a PNG file, on a key or dial. Bytes that
 * are on show aren't sent, and a few numbers are used in turn, so that the panel doesn't grow. */
VELOMAR_API int velomar_frame(velomar_link* link, const char* context, const void* png,
                              size_t size);

/* Selects a layout for a dial. The name belongs to this text of a layout file, which is sent once.
 * The empty name is the default layout's; its text may be NULL. */
VELOMAR_API int velomar_layout(velomar_link* link, const char* context, const char* name,
                               const char* layout);

/* Says why the last call of this thread returned 0, -1 or NULL; empty after any other result, and
 * after a question's. Good until the next call of this thread. */
VELOMAR_API const char* velomar_last_error(void);

/* The library's version, such as "1.5.1". */
VELOMAR_API const char* velomar_version(void);

#ifdef __cplusplus
}
#endif

#endif
