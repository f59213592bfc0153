// Measures a key's face: to draw it and to write it as a PNG file of 144 x 144.
#include <benchmark/benchmark.h>

#include <string>

#include "bridge/FacePainter.h"

namespace {

using bridge::Face;
using bridge::Panel;

Face faceOf(Panel::Face kind) {
  Face face;
  face.kind = kind;
  face.state = Panel::State::On;
  face.colour = 0x3ddc84;
  face.label = "BEACON";
  face.symbol = "beacon";
  face.words = "ON";
  face.body = "118.250";
  face.mark = 9;
  return face;
}

void drawFace(benchmark::State& state, Panel::Face kind) {
  bridge::Symbols symbols(VELOMAR_SYMBOLS);
  const bridge::FacePainter painter(symbols);
  Face face = faceOf(kind);
  for (auto _ : state) {
    face.needle = (face.needle + 1) % Face::kSteps;
    benchmark::DoNotOptimize(painter.png(face));
  }
}
BENCHMARK_CAPTURE(drawFace, switch, Panel::Face::Switch)->Unit(benchmark::kNanosecond);
BENCHMARK_CAPTURE(drawFace, number, Panel::Face::Number)->Unit(benchmark::kNanosecond);
BENCHMARK_CAPTURE(drawFace, compass, Panel::Face::Compass)->Unit(benchmark::kNanosecond);

}  // namespace

BENCHMARK_MAIN();
