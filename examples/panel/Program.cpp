// The panel as a program of its own.
#include <cstdio>
#include <exception>
#include <thread>

#include "Panel.h"

int main() try {
  Panel panel("heading.json");
  for (;;) {
    panel.poll();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
} catch (const std::exception& e) {
  std::fprintf(stderr, "%s\n", e.what());
  return 1;
}
