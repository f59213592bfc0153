// Stands in for the Stream Deck application: starts the plug-in as the application does, turns the
// lines that it reads into events, prints every frame that comes back, and serves a web page on
// which all of it can be seen and touched.
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "tools/common/ChildProcess.h"
#include "tools/common/Output.h"
#include "tools/deck/Bundle.h"
#include "tools/deck/HostServer.h"
#include "tools/deck/PluginFolder.h"
#include "tools/deck/VirtualDeck.h"

namespace {

constexpr std::chrono::milliseconds kPatience{100};
// The plug-in's link ends within two of its pauses of 5 seconds.
constexpr std::chrono::milliseconds kEndPause{500};
constexpr int kEndTries = 30;

constexpr char kRegisterEvent[] = "registerPlugin";

constexpr char kUsage[] =
    "velomar-deck [--web DIR] [--start NS] BUNDLE\n"
    "  BUNDLE      the plug-in's folder: its manifest says what is started\n"
    "  --web DIR   where the web page's files lie\n"
    "  --start NS  time zero of the output, on the monotonic clock\n"
    "Then reads commands from standard input:\n";

constexpr char kMoreCommands[] =
    "{...}                                     any event, as it is\n"
    "close                                     the connection ends\n"
    "quit                                      the same, and this program too\n";

struct Options {
  std::string bundle;
  std::string web = VELOMAR_DECK_WEB;
};

bool readOptions(int argc, char* argv[], Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const bool hasValue = i + 1 < argc;
    if (word == "--web" && hasValue) {
      options.web = argv[++i];
    } else if (word == "--start" && hasValue) {
      Output::setStart(argv[++i]);
    } else if (options.bundle.empty() && word.rfind("--", 0) != 0) {
      options.bundle = word;
    } else {
      return false;
    }
  }
  return !options.bundle.empty();
}

std::string information(const Bundle& bundle) {
  const nlohmann::json application = {{"font", "sans"},
                                      {"language", "en"},
                                      {"platform", "linux"},
                                      {"platformVersion", "12"},
                                      {"version", "6.4.0"}};
  return nlohmann::json{{"application", application},
                        {"plugin", {{"uuid", bundle.uuid}, {"version", bundle.version}}},
                        {"devicePixelRatio", 1},
                        {"colors", nlohmann::json::object()},
                        {"devices", nlohmann::json::array()}}
      .dump();
}

std::string contentType(const std::string& path) {
  static const std::map<std::string, std::string> kTypes = {
      {".html", "text/html; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".json", "application/json"},
      {".png", "image/png"},
      {".svg", "image/svg+xml"}};
  const auto found = kTypes.find(std::filesystem::path(path).extension().string());
  return found == kTypes.end() ? "application/octet-stream" : found->second;
}

// The deck between its neighbours: the plug-in, the web pages, and whoever types.
class Deck {
 public:
  explicit Deck(const Options& options)
      : bundle(openBundle(options.bundle)),
        web(options.web),
        deck(
            bundle, [this](const std::string& event) { sendToPlugin(event); },
            [this](const std::string& news) { host->sendToPages(news); }),
        host(std::make_unique<HostServer>(handlers())) {
    Output::line("page          http://127.0.0.1:" + std::to_string(host->port()) + "/");
    startPlugin();
  }

  // Serves until told to end, or until the plug-in has ended by itself.
  void run(Input& input) {
    std::string line;
    while (!plugin->waitForEnd(std::chrono::milliseconds(0))) {
      const auto event = input.next(line, kPatience);
      if (event == Input::Event::End || (event == Input::Event::Line && line == "quit")) break;
      if (event == Input::Event::Line) obey(line);
    }
    end();
  }

 private:
  // Closes until the plug-in has ended: it may not even have connected yet.
  void end() {
    std::optional<int> result;
    for (int tries = 0; !result && tries < kEndTries; ++tries) {
      host->close("");
      result = plugin->waitForEnd(kEndPause);
    }
    Output::line(result ? "plug-in ended with " + std::to_string(*result)
                        : "plug-in didn't end and is killed");
  }

  HostServer::Handlers handlers() {
    HostServer::Handlers made;
    made.opened = [] { Output::line("connected"); };
    made.frame = [this](const std::string& frame) { onFrame(frame); };
    made.closed = [this] {
      Output::line("disconnected");
      isRegistered = false;
      deck.pluginGone();
    };
    made.file = [this](const std::string& path) { return file(path); };
    made.pageOpened = [this](HostServer::PageId page) {
      host->sendToPage(page, deck.stateNews());
      host->sendToPage(page, deck.logNews());
    };
    made.pageSaid = [this](HostServer::PageId page, const std::string& text) {
      const std::string error = deck.obey(text);
      if (!error.empty()) {
        host->sendToPage(page, nlohmann::json{{"kind", "refused"}, {"text", error}}.dump(
                                   -1, ' ', false, nlohmann::json::error_handler_t::replace));
      }
    };
    return made;
  }

  // On the serving thread. Nothing counts but a registration under the identifier that the plug-in
  // was given; once its line is out, commands reach the plug-in.
  void onFrame(const std::string& frame) {
    std::string refusal;
    if (isRegistered) {
      refusal = deck.frame(frame);
    } else if (isRegistration(frame)) {
      isRegistered = true;
      deck.pluginRegistered();
    } else {
      refusal = "not the registration";
    }
    Output::line("from plug-in  " + frame);
    if (!refusal.empty()) Output::line("refused       " + refusal);
  }

  bool isRegistration(const std::string& frame) const {
    const auto message = nlohmann::json::parse(frame, nullptr, false);
    return message.is_object() && message.value("event", nlohmann::json()) == kRegisterEvent &&
           message.value("uuid", nlohmann::json()) == bundle.name;
  }

  std::optional<HostServer::File> file(const std::string& path) {
    static const std::string kBundle = "/bundle/";
    if (path == "/state") return HostServer::File{contentType(".json"), deck.state().dump(2)};
    const bool ofBundle = path.rfind(kBundle, 0) == 0;
    const std::string name =
        path == "/" ? "index.html" : path.substr(ofBundle ? kBundle.size() : 1);
    auto content = readPluginFile(ofBundle ? bundle.folder : web, name);
    if (!content) return std::nullopt;
    return HostServer::File{contentType(name), std::move(*content)};
  }

  void startPlugin() {
    ChildProcess::Options child;
    child.folder = bundle.folder.string();
    child.withErrorOutput = true;
    child.onLine = [](const std::string& line) { Output::line("plug-in says  " + line); };
    plugin = std::make_unique<ChildProcess>(
        std::vector<std::string>{bundle.program.string(), "-port", std::to_string(host->port()),
                                 "-pluginUUID", bundle.name, "-registerEvent", kRegisterEvent,
                                 "-info", information(bundle)},
        std::move(child));
  }

  void sendToPlugin(const std::string& event) {
    Output::line("to plug-in    " + event);
    (void)host->sendText(event);  // it may just have gone
  }

  void obey(const std::string& line) {
    if (line == "close") {
      host->close("told to");
    } else if (!line.empty()) {
      const std::string error = deck.obey(line);
      if (!error.empty()) Output::line("error         " + error);
    }
  }

  const Bundle bundle;
  const std::filesystem::path web;
  VirtualDeck deck;
  std::unique_ptr<HostServer> host;
  std::atomic<bool> isRegistered{false};
  std::unique_ptr<ChildProcess> plugin;
};

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  if (!readOptions(argc, argv, options)) {
    std::fprintf(stderr, "%s%s%s", kUsage, DeckModel::help(), kMoreCommands);
    return 2;
  }
  try {
    Input input;
    Deck(options).run(input);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "velomar-deck: %s\n", e.what());
    return 1;
  }
  return 0;
}
