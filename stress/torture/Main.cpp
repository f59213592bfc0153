// velomar-torture: see Torture.h. Ends with 0 if no fault was found, 1 if there was one, 2 if the
// arguments can't be used.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <random>

#include "stress/torture/Torture.h"
#include "tools/common/CommandLine.h"

namespace {

constexpr u32 kBlocksAtPeace = 128;

CLI::Range between(u64 least, u64 most) {
  return {least, most};
}

void declareArguments(CLI::App& app, TortureSettings& settings) {
  app.option_defaults()->always_capture_default();
  auto* operations = app.add_option("--operations", settings.operations, "of all workers together")
                         ->check(between(1, u64{1} << 50U));
  app.add_option("--kill", settings.kills, "kill a process so many times")
      ->check(between(1, 1000000))
      ->excludes(operations);
  app.add_option("--processes", settings.processes)->check(between(1, 16));
  app.add_option("--threads", settings.threads, "of each process")->check(between(1, 4));
  app.add_option("--block-size", settings.blockSize, "bytes")->check(between(8, 4096));
  app.add_option("--blocks", settings.blocks, "of a store; 0: as many as are needed")
      ->check(between(64, 65536));
  app.add_option("--seed", settings.seed);
  app.add_option_function<u32>(
         "--patience", [&](u32 given) { settings.patience = std::chrono::seconds(given); },
         "seconds without an operation that make a hang [30]")
      ->check(between(1, 3600));
  app.callback([&] {
    if (settings.kills == 0 || settings.processes > 1) return;
    throw CLI::ValidationError("--kill", "needs two processes");
  });
}

// The blocks that the dead can take, and room for the others.
u32 blocksFor(const TortureSettings& settings) {
  return kBlocksAtPeace + std::min(settings.kills, settings.killsPerStore) * kLongestChain;
}

}  // namespace

int main(int argc, char** argv) {
  TortureSettings settings;
  settings.seed = std::random_device{}();
  CLI::App app("Works on one store with several processes, and audits it");
  declareArguments(app, settings);
  readCommandLine(app, argc, argv);
  if (settings.blocks == 0) settings.blocks = blocksFor(settings);
  try {
    return runTorture(settings) ? 0 : 1;
  } catch (const std::exception& e) {
    std::printf("FAULT: %s\n", e.what());
    return 1;
  }
}
