// velomar-deck: plays the Stream Deck application. It starts the plug-in as the application does,
// turns the lines that it reads into events, prints every frame that comes back, and serves a web
// page on which the devices can be seen and touched.
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "StreamDeckSDK/ESDUtilities.h"
#include "tools/common/ChildProcess.h"
#include "tools/common/CommandLine.h"
#include "tools/common/Output.h"
#include "tools/deck/Bundle.h"
#include "tools/deck/HostServer.h"
#include "tools/deck/PageServer.h"
#include "tools/deck/Profile.h"
#include "tools/deck/VirtualDeck.h"

namespace {

constexpr std::chrono::milliseconds kPatience{100};
// The plug-in's link may be in a pause of 5 seconds, which it ends first.
constexpr std::chrono::milliseconds kEndPause{500};
constexpr int kEndTries = 30;

constexpr char kRegisterEvent[] = "registerPlugin";

// The page's port, unless another program has it already.
constexpr std::uint16_t kUsualPort = 8913;

// The folder of the page's files, both in the build tree and where the program is installed.
std::string webFolder() {
  const auto folder = ESDUtilities::GetPluginExecutablePath().parent_path();
  return (folder.parent_path() / "share" / "velomar" / "deck").string();
}

struct Options {
  std::string bundle;
  std::string web = webFolder();
  std::string start;
  std::string profile;
  std::string listen;  // empty: this machine only, and no token
  std::uint16_t port = kUsualPort;
};

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

// A command to the program itself. The commands to devices and contexts are the model's.
struct Command {
  const char* name;
  const char* purpose;
};

constexpr char kHelp[] = "help";
constexpr char kClose[] = "close";
constexpr char kQuit[] = "quit";

constexpr Command kCommands[] = {
    {"{...}", "sends any event, as it is"},
    {kClose, "closes the plug-in's connection"},
    {kQuit, "does the same, and ends this program"},
    {kHelp, "prints this list"},
};

std::string help() {
  std::string text = DeckModel::help();
  for (const Command& command : kCommands) {
    text += DeckModel::helpLine(command.name, command.purpose);
  }
  return text;
}

// The deck between its neighbours: the plug-in, the web pages, and the user at the terminal.
class Deck {
 public:
  explicit Deck(const Options& options)
      : bundle(openBundle(options.bundle)),
        web(options.web),
        profile(options.profile),
        deck(
            bundle, [this](const std::string& event) { sendToPlugin(event); },
            [this](const std::string& news) { pages.sendToAll(news); }),
        pages(pageOptions(options, profile), pageHandlers()),
        host(hostHandlers()) {
    loadProfile(options.profile);
    for (const std::string& url : pages.urls()) Output::line("page          " + url);
    pages.start();
    startPlugin();
  }

  // Stops the pages first, because their commands use the plug-in's end, which is destroyed next.
  ~Deck() { pages.stop(); }

  Deck(const Deck&) = delete;
  Deck& operator=(const Deck&) = delete;

  // Serves until told to end, or until the plug-in has ended by itself.
  void run(Input& input) {
    std::string line;
    while (!plugin->waitForEnd(std::chrono::milliseconds(0))) {
      const auto event = input.next(line, kPatience);
      if (event == Input::Event::End || (event == Input::Event::Line && line == kQuit)) break;
      if (event == Input::Event::Line) obey(line);
    }
    end();
  }

 private:
  // Closes the connection again and again until the plug-in has ended, because the plug-in may
  // connect only later.
  void end() {
    std::optional<int> result;
    for (int tries = 0; !result && tries < kEndTries; ++tries) {
      host.close("");
      result = plugin->waitForEnd(kEndPause);
    }
    Output::line(result ? "plug-in ended with " + std::to_string(*result)
                        : "plug-in didn't end and is killed");
  }

  static PageServer::Options pageOptions(const Options& options, const Profile& profile) {
    PageServer::Options made;
    made.port = options.port;
    if (!options.listen.empty()) {
      made.address = options.listen;
      made.token = profile.token();
    }
    return made;
  }

  void loadProfile(const std::string& path) {
    const std::string error = deck.load(profile.read());
    if (!error.empty()) throw std::runtime_error(path + ", " + error);
  }

  HostServer::Handlers hostHandlers() {
    HostServer::Handlers made;
    made.opened = [] { Output::line("connected"); };
    made.frame = [this](const std::string& frame) { onFrame(frame); };
    made.closed = [this] {
      Output::line("disconnected");
      isRegistered = false;
      deck.pluginGone();
    };
    return made;
  }

  PageServer::Handlers pageHandlers() {
    PageServer::Handlers made;
    made.file = [this](const std::string& path) { return file(path); };
    made.opened = [this](PageServer::PageId page) {
      pages.sendTo(page, deck.stateNews());
      pages.sendTo(page, deck.logNews());
    };
    made.said = [this](PageServer::PageId page, const std::string& text) {
      const std::string error = obeyDeck(text);
      if (!error.empty()) {
        pages.sendTo(page, nlohmann::json{{"kind", "refused"}, {"text", error}}.dump(
                               -1, ' ', false, nlohmann::json::error_handler_t::replace));
      }
    };
    return made;
  }

  // Returns an error text, empty on success. A change of the places is saved in the profile.
  std::string obeyDeck(const std::string& command) {
    std::string error = deck.obey(command);
    if (!error.empty() || !DeckModel::isOfPlaces(command)) return error;
    return profile.save([this] { return deck.profile(); });
  }

  // Runs on the serving thread. Only a registration with the identifier that the plug-in was given
  // counts. From the time that its line is printed, commands reach the plug-in.
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

  std::optional<PageServer::File> file(const std::string& path) {
    static const std::string kBundle = "bundle/";
    if (path == "state") return PageServer::File{contentType(".json"), deck.state().dump(2)};
    const bool ofBundle = path.rfind(kBundle, 0) == 0;
    const std::string name =
        path.empty() ? "index.html" : path.substr(ofBundle ? kBundle.size() : 0);
    auto content = readPluginFile(ofBundle ? bundle.folder : web, name);
    if (!content) return std::nullopt;
    return PageServer::File{contentType(name), std::move(*content)};
  }

  void startPlugin() {
    ChildProcess::Options child;
    child.folder = bundle.folder.string();
    child.withErrorOutput = true;
    child.onLine = [](const std::string& line) { Output::line("plug-in says  " + line); };
    plugin = std::make_unique<ChildProcess>(
        std::vector<std::string>{bundle.program.string(), "-port", std::to_string(host.port()),
                                 "-pluginUUID", bundle.name, "-registerEvent", kRegisterEvent,
                                 "-info", information(bundle)},
        std::move(child));
  }

  void sendToPlugin(const std::string& event) {
    Output::line("to plug-in    " + event);
    (void)host.sendText(event);  // fails if the plug-in has just gone
  }

  void obey(const std::string& line) {
    if (line == kClose) {
      host.close("told to");
    } else if (line == kHelp) {
      printHelp();
    } else if (!line.empty()) {
      const std::string error = obeyDeck(line);
      if (!error.empty()) Output::line("error         " + error);
    }
  }

  static void printHelp() {
    std::istringstream lines(help());
    for (std::string line; std::getline(lines, line);) Output::line("help          " + line);
  }

  const Bundle bundle;
  const std::filesystem::path web;
  Profile profile;
  VirtualDeck deck;
  PageServer pages;
  HostServer host;
  std::atomic<bool> isRegistered{false};
  std::unique_ptr<ChildProcess> plugin;
};

void declareOptions(CLI::App& app, Options& options) {
  app.add_option("BUNDLE", options.bundle,
                 "the plug-in's folder: its manifest says what is started")
      ->required()
      ->type_name("");
  app.add_option("--web", options.web, "where the web page's files lie")->type_name("DIR");
  app.add_option("--port", options.port,
                 "the web page's port, or the next one that is free; 0: any")
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--listen", options.listen,
                 "where the page is served, for a tablet in the house: this machine's address, or "
                 "0.0.0.0 for all that it has, or :: for those of IPv6 too; its URL then has a "
                 "token in it")
      ->type_name("ADDRESS");
  app.add_option("--profile", options.profile,
                 "keeps what is arranged in this file, and starts from it")
      ->type_name("FILE");
  app.add_option("--start", options.start, "time zero of the output, on the monotonic clock")
      ->type_name("NS");
  app.footer("Then reads commands from standard input:\n" + help());
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  CLI::App app("Plays the Stream Deck application: starts the plug-in as the application does.");
  declareOptions(app, options);
  readCommandLine(app, argc, argv);
  try {
    if (!options.start.empty()) Output::setStart(options.start);
    Input input("deck> ");
    Deck(options).run(input);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "velomar-deck: %s\n", e.what());
    return 1;
  }
  return 0;
}
