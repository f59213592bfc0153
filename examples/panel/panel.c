/* A panel in C: a gear key, a heading dial with a layout of its own, and a clock.
 *
 *   cc panel.c clock_face.c $(pkg-config --cflags --libs velomar) -lz -o panel
 *   ./panel
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <velomar/velomar.h>

#include "clock_face.h"

enum { CONTEXTS = 64, TEXT = 256 };

struct context {
  char id[TEXT]; /* empty: unused */
  char name[TEXT];
};

static struct context contexts[CONTEXTS];
static int gear_is_down = 1;
static int heading = 270;
static char layout[8000];

static struct context* find(const char* id) {
  for (int i = 0; i < CONTEXTS; ++i) {
    if (strcmp(contexts[i].id, id) == 0) return &contexts[i];
  }
  return NULL;
}

static void name(struct context* context, const char* id, const char* name) {
  snprintf(context->id, TEXT, "%s", id);
  snprintf(context->name, TEXT, "%s", name);
}

static void show(velomar_link* link, const struct context* context) {
  char title[2 * TEXT];
  if (strcmp(context->name, "GEAR") == 0) {
    snprintf(title, sizeof title, "GEAR\n%s", gear_is_down ? "down" : "up");
  } else if (strcmp(context->name, "HDG") == 0) {
    velomar_layout(link, context->id, "heading", layout);
    snprintf(title, sizeof title, "HDG\n%03d\n%d", heading, heading * 100 / 360);
  } else if (strcmp(context->name, "CLOCK") == 0) {
    return; /* it shows itself */
  } else {
    snprintf(title, sizeof title, "what is\n%s", context->name);
  }
  velomar_title(link, context->id, title);
}

static void show_all(velomar_link* link, const char* name) {
  for (int i = 0; i < CONTEXTS; ++i) {
    const struct context* context = &contexts[i];
    if (*context->id != '\0' && (name == NULL || strcmp(context->name, name) == 0)) {
      show(link, context);
    }
  }
}

static void tick(velomar_link* link) {
  unsigned char face[CLOCK_FACE_BYTES];
  const size_t size = paint_clock(time(NULL), face);
  for (int i = 0; i < CONTEXTS; ++i) {
    if (strcmp(contexts[i].name, "CLOCK") == 0) velomar_frame(link, contexts[i].id, face, size);
  }
}

/* A member of the message at hand as a copy; empty if it isn't there. */
static const char* member(velomar_link* link, const char* name, char copy[TEXT]) {
  const char* text = velomar_member(link, name);
  snprintf(copy, TEXT, "%s", text != NULL ? text : "");
  return copy;
}

static void handle(velomar_link* link) {
  char message[TEXT], id[TEXT], text[TEXT];
  struct context* context;
  member(link, "Message", message);
  if (strcmp(message, "API Version") == 0) memset(contexts, 0, sizeof contexts); /* all follow */
  if (strcmp(message, "Force Refresh") == 0) show_all(link, NULL);
  if (*member(link, "Context", id) == '\0') return;

  context = find(id);
  if (context == NULL && strcmp(message, "Add Context") == 0) context = find("");
  if (context == NULL) return;
  if (strcmp(message, "Add Context") == 0 || strcmp(message, "Update Key Name") == 0) {
    name(context, id, member(link, "KeyName", text));
    show(link, context);
  } else if (strcmp(message, "Hide Context") == 0) {
    name(context, "", "");
  } else if (strcmp(message, "Key Down") == 0 && strcmp(context->name, "GEAR") == 0) {
    gear_is_down = !gear_is_down;
    show_all(link, "GEAR");
  } else if (strcmp(message, "Encoder Rotate") == 0 && strcmp(context->name, "HDG") == 0) {
    heading = ((heading + atoi(member(link, "Ticks", text))) % 360 + 360) % 360;
    show_all(link, "HDG");
  }
}

static int read_layout(const char* path) {
  FILE* file = fopen(path, "r");
  if (file == NULL) return 0;
  layout[fread(layout, 1, sizeof layout - 1, file)] = '\0';
  fclose(file);
  return 1;
}

int main(void) {
  const struct timespec pause = {0, 10 * 1000 * 1000};
  velomar_link* link = velomar_open(0);
  if (link == NULL || !read_layout("heading.json")) {
    fprintf(stderr, "%s\n", link == NULL ? velomar_last_error() : "no heading.json here");
    return 1;
  }
  for (;;) {
    const char* message;
    while (velomar_poll(link, &message) > 0) handle(link);
    tick(link);
    nanosleep(&pause, NULL);
  }
}
