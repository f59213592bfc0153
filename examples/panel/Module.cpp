// The panel as a module that a simulator loads. Every simulator has entry points of its own, and
// these three take their place. No exception may leave them.
#include <cstdio>
#include <exception>
#include <memory>

#include "Panel.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

static std::unique_ptr<Panel> panel;

template <typename Work>
static int guarded(Work work) {
  try {
    work();
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "panel: %s\n", e.what());
    return 0;
  }
}

EXPORT int panel_open(const char* layout) {
  return guarded([layout] { panel = std::make_unique<Panel>(layout); });
}

EXPORT int panel_poll() {
  return guarded([] { panel->poll(); });
}

EXPORT void panel_close() {
  panel.reset();
}
