// The real program under the virtual deck, each in a process of its own. The plug-in is installed
// in a folder of its own and started from there as its manifest says. No file is left over.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/ChildProcess.h"
#include "tools/common/TemporaryPluginFolder.h"

class Stage : public testing::Test {
 protected:
  using Lines = std::vector<std::string>;

  // Much longer than anything here takes, so that a busy machine fails no test.
  static constexpr std::chrono::seconds kPatience{60};

  void startDeck() {
    deck = std::make_unique<ChildProcess>(Lines{VELOMAR_DECK, folder.string()},
                                          ChildProcess::Options{});
    ASSERT_TRUE(deck->waitForLine("registerPlugin", kPatience)) << "no registration";
  }

  void tellDeck(const std::string& line) { deck->writeLine(line); }

  // Waits for a line of the deck that holds all of `text`. The index after it.
  std::size_t awaitDeck(const std::string& text, std::size_t from = 0) {
    const auto found = deck->waitForLine(text, kPatience, from);
    EXPECT_TRUE(found) << "no line with " << text;
    return found.value_or(from);
  }

  void endDeck() {
    tellDeck("quit");
    EXPECT_EQ(deck->waitForEnd(kPatience), 0);
    EXPECT_TRUE(deck->waitForLine("plug-in ended with 0", kPatience));
  }

  const TemporaryPluginFolder home;  // outlives the processes
  const std::filesystem::path folder = installIn(home.path);
  std::unique_ptr<ChildProcess> deck;
  std::unique_ptr<ChildProcess> bridge;

 private:
  static std::filesystem::path installIn(const std::filesystem::path& place) {
    const std::filesystem::path bundle = VELOMAR_BUNDLE;
    std::filesystem::copy(bundle, place / bundle.filename(),
                          std::filesystem::copy_options::recursive);
    return place / bundle.filename();
  }
};
