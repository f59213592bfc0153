#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <thread>

#include "simulator/Base64.h"
#include "simulator/Deliveries.h"
#include "simulator/SimulatorLink.h"
#include "tests/e2e/Stage.h"
#include "tests/support/HostFixture.h"

namespace {

using nlohmann::json;
using velomar::Deliveries;
using velomar::SimulatorLink;

constexpr int kHour = 3600;  // frames, of a clock that is redrawn each second
constexpr int kBatch = 50;
constexpr std::size_t kFaceBytes = 10000;

class MovingPictureTest : public Stage {
 protected:
  void SetUp() override {
    ChildProcess::Options options;
    options.folder = folder.string();
    options.withErrorOutput = true;
    program.emplace(Lines{(folder / "velomar").string(), "-port", std::to_string(host.port()),
                          "-pluginUUID", "u", "-registerEvent", "r", "-info", "{}"},
                    options);
    await(R"({"event":"r","uuid":"u"})");
    appear("K", "Keypad");
    appear("E", "Encoder");
    await("setFeedbackLayout");
    link.emplace();
    for (const auto deadline = SimulatorLink::Clock::now() + kPatience; !link->isAnybodyThere();) {
      ASSERT_LT(SimulatorLink::Clock::now(), deadline);
      (void)link->poll();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  void appear(const std::string& context, const std::string& controller) {
    const json payload{{"controller", controller}, {"settings", {{"KeyName", "CLOCK"}}}};
    host.send(json{
        {"event", "willAppear"},
        {"action", "com.brackenmoor.velomar.launch"},
        {"context", context},
        {"device", "D"},
        {"payload",
         payload}}.dump());
  }

  void await(const std::string& text) {
    for (std::string frame; frame.find(text) == std::string::npos;) {
      frame = host.frames.next();
      ASSERT_NE(frame, "(nothing)") << text;
    }
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
        await(base64.substr(0, 16));
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

  std::size_t filesInImages() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder / "images"), {}));
  }

  Host host;
  std::optional<ChildProcess> program;
  std::optional<SimulatorLink> link;
  Deliveries deliveries;
  int shown = 0;
};

// With a number for each frame it would grow by 54 MB and by a file for each frame.
TEST_F(MovingPictureTest, AnHourOfFramesLeavesMemoryAndFolderAsTheyWere) {
  show(kHour / 10);
  const std::size_t before = memory();
  show(kHour);
  const std::size_t after = memory();
  RecordProperty("bytes_before", std::to_string(before));
  RecordProperty("bytes_after", std::to_string(after));
  EXPECT_LE(filesInImages(), 2 * Deliveries::kFrameIds);
#ifndef __SANITIZE_ADDRESS__  // which keeps what was freed
  EXPECT_LT(after, before + 8 * 1024 * 1024);
#endif
  host.close("");
  EXPECT_EQ(program->waitForEnd(kPatience), 0);
  EXPECT_EQ(filesInImages(), 0U);
}

}  // namespace
