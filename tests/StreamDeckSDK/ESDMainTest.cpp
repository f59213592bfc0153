#include "StreamDeckSDK/ESDMain.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>
#include <sstream>

#include "StreamDeckSDK/ESDBasePlugin.h"
#include "StreamDeckSDK/ESDLocalizer.h"
#include "tests/support/HostFixture.h"
#include "tests/support/LanguageFile.h"
#include "tests/support/SystemLog.h"

using testing::ElementsAre;
using testing::Eq;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using Arguments = std::vector<std::string>;

// Keeps its connection from being lost, which would look like a leak.
class Plugin : public ESDBasePlugin {
 public:
  ~Plugin() override { keepForever(mConnectionManager); }
  ESDConnectionManager* connection() const { return mConnectionManager; }
};

Arguments words(const std::string& text) {
  Arguments all;
  std::istringstream in(text);
  for (std::string word; in >> word;) all.push_back(word == "-" ? "" : word);
  return all;
}

int launch(const Arguments& arguments, ESDBasePlugin& plugin) {
  std::vector<const char*> argv = {"velomar"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  return esd_main(static_cast<int>(argv.size()), argv.data(), &plugin);
}

int launch(const Arguments& arguments) {
  Plugin plugin;
  return launch(arguments, plugin);
}

class ESDMainTest : public HostFixture {
 protected:
  Arguments pairs(const std::string& port) const {
    return words("-port " + port + " -pluginUUID U -registerEvent R -info {}");
  }

  // Launches, and returns what came to the host first and the exit code.
  std::pair<std::string, int> launchAndClose(const Arguments& arguments) {
    int code = -1;
    runner.emplace([&] { code = launch(arguments); });
    const std::string frame = host.frames.next();
    host.close("enough");
    EXPECT_TRUE(ended());
    EXPECT_THAT(host.frames.rest(), IsEmpty());
    runner.reset();
    return {frame, code};
  }

  std::string hostPort() const { return std::to_string(host.port()); }
};

constexpr char kLaunched[] = R"({"event":"R","uuid":"U"})";

TEST_F(ESDMainTest, ARefusedCommandLineNamesItsFirstFault) {
  const std::pair<const char*, const char*> rows[] = {
      // a dash alone is an empty argument
      {"", "Invalid number of parameters 1 instead of 9"},
      {"-port 7 -pluginUUID U -registerEvent R -info {} -x",
       "Invalid number of parameters 10 instead of 9"},
      {"a 1 b 2 c 3 d 4", "Invalid port number"},
      {"-Port 7 -pluginUUID U -registerEvent R -info {}", "Invalid port number"},
      {"-port abc -pluginUUID - -registerEvent - -info -", "Invalid port number"},
      {"-port 7 -port 0 -pluginUUID U -info {}", "Invalid port number"},
      {"-port 7 -pluginUUID - -registerEvent - -info -", "Invalid plugin UUID"},
      {"-port 7 -pluginUUID U -port 8 -info {}", "Invalid registerEvent"},
      {"-port 7 -pluginUUID U -registerEvent R -info -", "Invalid info"},
      {"-port 0 -port 7 -pluginUUID U -registerEvent R", "Invalid info"},
  };
  for (const auto& [arguments, line] : rows) {
    Plugin plugin;
    const SystemLog log;
    EXPECT_EQ(launch(words(arguments), plugin), 1) << line;
    EXPECT_EQ(plugin.connection(), nullptr) << line;
#ifndef __APPLE__
    EXPECT_THAT(log.lines(), ElementsAre(std::string("ESDMain.cpp: ") + line));
#endif
  }
}

TEST_F(ESDMainTest, PairsComeInAnyOrderAndAPortMayHaveATail) {
  const std::pair<std::string, int> registered = {kLaunched, 0};
  EXPECT_EQ(launchAndClose(pairs(hostPort())), registered);
  EXPECT_EQ(launchAndClose(pairs(hostPort() + "ab")), registered);
  EXPECT_EQ(launchAndClose(
                {"-info", "{}", "-registerEvent", "R", "-pluginUUID", "U", "-port", hostPort()}),
            registered);
  EXPECT_EQ(launchAndClose({"-info", "no JSON", "-port", hostPort(), "-pluginUUID", "-info",
                            "-registerEvent", "\"{}\n\xc3\xa9"}),
            std::make_pair(std::string("{\"event\":\"\\\"{}\\n\xc3\xa9\",\"uuid\":\"-info\"}"), 0));
}

TEST_F(ESDMainTest, AnIdentifierThatIsNotTextEndsInOrder) {
  ESDLogger::disableDebugLogging = false;
  Arguments arguments = pairs(hostPort());
  arguments[3] = "U\xff";
  const SystemLog log;
  EXPECT_EQ(launch(arguments), 0);
  EXPECT_EQ(host.events.next(), "opened");
#ifndef __APPLE__
  EXPECT_THAT(log.lines(),
              ElementsAre("ESDConnectionManager.cpp: OnOpen",
                          StartsWith("ESDConnectionManager.cpp: Websocket threw an exception: ")));
#endif
}

[[noreturn]] void launchAndTellTheLanguage(const Arguments& arguments) {
  const int code = launch(arguments);
  std::cerr << ESDLocalizer::GetLocalizedString("language");
  std::exit(code);
}

// The language shows in the table that was loaded, and a process loads one only once.
TEST_F(ESDMainTest, TheLanguageComesFromTheInformationDocument) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  host.vanish();  // no other thread may be running while a process is started
  const LanguageFile english("en", R"({"Localization":{"language":"English"}})");
  const LanguageFile other("xx-main", R"({"Localization":{"language":"Other"}})");
  const std::string deep(200000, '[');
  const LanguageFile text("xx-text", R"({"Localization":"language"})");
  const LanguageFile list("xx-list", "[]");
  const LanguageFile flat("xx-flat", R"({"language":"Flat"})");
  const LanguageFile nested("xx-deep", R"({"Localization":)" + deep);
  const auto folder = LanguageFile::pathOf("").parent_path();
  // Each of the processes below begins here too, and finds it.
  ASSERT_TRUE(mkfifo((folder / "xx-pipe.json").c_str(), 0600) == 0 || errno == EEXIST);
  const std::string outside = "../" + folder.filename().string() + "/xx-main";
  const std::pair<std::string, const char*> rows[] = {
      {R"({"application":{"language":"xx-main"}})", "Other"},
      {R"({"application":{"language":"none"}})", "language"},
      {R"({"application":{"language":""}})", "language"},
      {R"({"application":{"language":"xx-text"}})", "language"},
      {R"({"application":{"language":"xx-list"}})", "language"},
      {R"({"application":{"language":"xx-flat"}})", "language"},
      {R"({"application":{"language":7}})", "English"},
      {R"({"application":{}})", "English"},
      {R"({"language":"xx-main"})", "English"},
      {R"({"application":{"language":"xx-main"}} x)", "English"},
      {"7", "English"},
      {R"({"application":)" + deep, "English"},
      {R"({"application":{"language":"xx-deep"}})", "language"},
      {R"({"application":{"language":"xx-pipe"}})", "language"},
      {R"({"application":{"language":")" + outside + "\"}}", "language"},
  };
  for (const auto& [info, language] : rows) {
    Arguments arguments = pairs("-1");
    arguments[7] = info;
    EXPECT_EXIT(launchAndTellTheLanguage(arguments), ExitedWithCode(0), Eq(language))
        << info.substr(0, 100);
  }
  ghc::filesystem::remove(folder / "xx-pipe.json");
}

}  // namespace
