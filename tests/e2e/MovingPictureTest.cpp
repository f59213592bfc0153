#include <optional>
#include <string>

#include "simulator/Base64.h"
#include "simulator/Deliveries.h"
#include "tests/e2e/HostStage.h"

namespace {

using velomar::Deliveries;
using velomar::SimulatorLink;

constexpr int kHour = 3600;  // frames, of a clock that is redrawn each second
constexpr int kBatch = 50;
constexpr std::size_t kFaceBytes = 10000;

class MovingPictureTest : public HostStage {
 protected:
  void SetUp() override {
    program = start(argumentsFor(host));
    expectToBeServed(host);
    appear(host, "K", "Keypad");
    link.emplace();
    bringUp(*link);
  }

  // Shows frames on the key and the dial as fast as the panel takes them.
  void show(int frames) {
    for (int i = 0; i < frames; ++i, ++shown) {
      std::string face(kFaceBytes, static_cast<char>(shown));
      face.replace(0, 8, std::to_string(10000000 + shown));
      const std::string base64 = velomar::encodeBase64(face);
      for (const char* context : {"K", "E"}) {
        ASSERT_TRUE(link->send(*deliveries.frame(context, base64)));
      }
      if (i % kBatch == kBatch - 1 || i == frames - 1) {
        awaitFrame(host, base64.substr(0, 16));
        (void)link->poll();
      }
    }
  }

  std::size_t memory() const {
    std::ifstream file("/proc/" + std::to_string(program->pid()) + "/statm");
    std::size_t pages = 0;
    file >> pages >> pages;
    return pages * 4096;
  }

  std::ptrdiff_t filesInImages() const {
    return std::distance(std::filesystem::directory_iterator(folder / "images"), {});
  }

  Host host;
  std::unique_ptr<ChildProcess> program;
  std::optional<SimulatorLink> link;
  Deliveries deliveries;
  int shown = 0;
};

// With a number for each frame it would grow by 54 MB and by a file for each frame.
TEST_F(MovingPictureTest, AnHourOfFramesLeavesMemoryAndFolderAsTheyWere) {
  show(kHour / 10);
  [[maybe_unused]] const std::size_t before = memory();
  show(kHour);
  [[maybe_unused]] const std::size_t after = memory();
  EXPECT_LE(filesInImages(), 2L * Deliveries::kFrameIds);
#ifndef __SANITIZE_ADDRESS__  // which keeps what was freed
  EXPECT_LT(after, before + 8 * 1024 * 1024);
#endif
  host.close("");
  EXPECT_EQ(program->waitForEnd(kPatience), 0);
  EXPECT_EQ(filesInImages(), 0);
}

}  // namespace
