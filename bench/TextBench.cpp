// Measures how long a text takes to be read as JSON, by its content and its length: as the program
// reads the simulator's messages, and as the JSON library alone would read them.
#include <benchmark/benchmark.h>

#include "tests/support/JsonTexts.h"

namespace {

using nlohmann::json;

template <json (*read)(const std::string&)>
void readText(benchmark::State& state, const JsonTexts::Make& make) {
  const std::string text = make(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    try {
      benchmark::DoNotOptimize(read(text));
    } catch (const json::exception& e) {
      benchmark::DoNotOptimize(e.id);  // one of the texts is cut short
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

}  // namespace

int main(int argc, char** argv) {
  for (const auto& [kind, make] : JsonTexts::all()) {
    const auto add = [&, &kind = kind, &make = make](const char* who, auto read) {
      benchmark::RegisterBenchmark((std::string(who) + "/" + kind).c_str(),
                                   [read, &make](benchmark::State& state) { read(state, make); })
          ->Arg(16 << 10)
          ->Arg(128 << 10)
          ->Arg(1 << 20)
          ->Arg(8 << 20);
    };
    add("read", readText<ESDJSONText::ReadFirst>);
    add("readByLibrary", readText<firstByLibrary>);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
