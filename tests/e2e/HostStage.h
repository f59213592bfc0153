// The real program under hosts that a test plays, and beside a simulator's side in this process.
#pragma once

#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "simulator/SimulatorLink.h"
#include "tests/e2e/Stage.h"
#include "tests/support/HostFixture.h"

class HostStage : public Stage {
 protected:
  static Lines argumentsFor(const Host& host) {
    return {
        "-port", std::to_string(host.port()), "-pluginUUID", "u", "-registerEvent", "r", "-info",
        "{}"};
  }

  // A command may be put in front of the program.
  std::unique_ptr<ChildProcess> start(const Lines& arguments, Lines command = {}) const {
    command.push_back((folder / "velomar").string());
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildProcess::Options options;
    options.folder = folder.string();
    options.withErrorOutput = true;
    return std::make_unique<ChildProcess>(command, std::move(options));
  }

  static void awaitFrame(Host& host, const std::string& text) {
    for (std::string frame; frame.find(text) == std::string::npos;) {
      frame = host.frames.next();
      ASSERT_NE(frame, "(nothing)") << text;
    }
  }

  static void appear(Host& host, const std::string& context, const std::string& controller) {
    host.send(R"({"event":"willAppear","action":"com.brackenmoor.velomar.launch","context":")" +
              context + R"(","device":"D","payload":{"controller":")" + controller +
              R"(","settings":{"KeyName":"K"}}})");
  }

  // A dial that appears gets its layout.
  static void expectToBeServed(Host& host) {
    awaitFrame(host, R"({"event":"r","uuid":"u"})");
    appear(host, "E", "Encoder");
    awaitFrame(host, "setFeedbackLayout");
  }

  static void bringUp(velomar::SimulatorLink& link) {
    using velomar::SimulatorLink;
    for (const auto deadline = SimulatorLink::Clock::now() + kPatience; !link.isAnybodyThere();) {
      ASSERT_LT(SimulatorLink::Clock::now(), deadline);
      (void)link.poll();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
};
