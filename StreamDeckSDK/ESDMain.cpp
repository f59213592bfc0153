#include "StreamDeckSDK/ESDMain.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "StreamDeckSDK/EPLJSONUtils.h"
#include "StreamDeckSDK/ESDConnectionManager.h"
#include "StreamDeckSDK/ESDJSONText.h"
#include "StreamDeckSDK/ESDLocalizer.h"
#include "StreamDeckSDK/ESDLogger.h"

using nlohmann::json;

namespace {

constexpr int kArgumentCount = 9;

struct Arguments {
  int port = 0;  // 0: not given
  std::string pluginUUID;
  std::string registerEvent;
  std::string info;
};

Arguments ReadArguments(const char* const* argv) {
  Arguments arguments;
  for (int i = 1; i + 1 < kArgumentCount; i += 2) {
    const std::string name = argv[i];
    const char* value = argv[i + 1];
    if (name == "-port") {
      arguments.port = std::atoi(value);
    } else if (name == "-pluginUUID") {
      arguments.pluginUUID = value;
    } else if (name == "-registerEvent") {
      arguments.registerEvent = value;
    } else if (name == "-info") {
      arguments.info = value;
    }
  }
  return arguments;
}

// The log line for the first argument that is missing or wrong, or null.
const char* Refusal(const Arguments& arguments) {
  if (arguments.port == 0) return "Invalid port number";
  if (arguments.pluginUUID.empty()) return "Invalid plugin UUID";
  if (arguments.registerEvent.empty()) return "Invalid registerEvent";
  if (arguments.info.empty()) return "Invalid info";
  return nullptr;
}

std::string ReadLanguage(const std::string& info) {
  std::string language = "en";
  try {
    json application;
    if (EPLJSONUtils::GetObjectByName(ESDJSONText::Read(info), "application", application)) {
      language = EPLJSONUtils::GetStringByName(application, "language", language);
    }
  } catch (...) {
    // The language is all that is read from it; a start must not fail for want of that.
  }
  return language;
}

}  // namespace

int esd_main(int argc, const char* const* argv, ESDBasePlugin* plugin) {
  if (argc != kArgumentCount) {
    ESDLogWithContext(__FILE__, "Invalid number of parameters {} instead of 9", argc);
    return 1;
  }
  const Arguments arguments = ReadArguments(argv);
  if (const char* refusal = Refusal(arguments)) {
    ESDLogWithContext(__FILE__, refusal);
    return 1;
  }
  ESDLocalizer::Initialize(ReadLanguage(arguments.info));

  // Never destroyed: the plug-in, its actions and the logger go on pointing at it.
  auto* manager = new ESDConnectionManager(arguments.port, arguments.pluginUUID,
                                           arguments.registerEvent, arguments.info, plugin);
  ESDLogger::SetConnectionManager(manager);
  manager->Run();
  return 0;
}
