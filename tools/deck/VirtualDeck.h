// A virtual Stream Deck: the model, the face of every context on show, and the log of the frames in
// both directions. It hands events to the plug-in and news, as JSON texts, to the web pages through
// callbacks, which are called under its lock and must not call back. Any thread may call.
//
// It keeps to the rules of today's hosts: events from before the plug-in's registration are sent
// right after it; a path that leaves the plug-in's folder is refused; a layout that can't be read
// leaves a dial without one, and it then takes no feedback until a good one is set.
//
// News: {"kind":"state","state":STATE} whenever devices or places change,
// {"kind":"face","context":ID,"face":FACE}, {"kind":"sign","context":ID,"sign":"ok"|"alert"},
// {"kind":"link","link":{"state":WORD,"since":S},"time":S},
// {"kind":"log","lines":[{"time":S,"from":WHO,"text":TEXT}]}. Times are in seconds, on one clock.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/deck/Bundle.h"
#include "tools/deck/DeckModel.h"
#include "tools/deck/LinkWatch.h"

class VirtualDeck {
 public:
  using Speak = std::function<void(const std::string&)>;

  VirtualDeck(Bundle plugin, Speak toPlugin, Speak toPages);

  // Carries out one command of DeckModel, or sends an event that begins with '{' as it is. Returns
  // an error text, empty on success.
  std::string obey(const std::string& command);

  // Starts from a profile, before anything else. Returns an error text, empty on success.
  std::string load(const std::string& profile);

  // The present deck in the form that load() takes.
  std::string profile() const;

  // The plug-in has registered or gone. Each happens once, since it isn't started again.
  void pluginRegistered();
  void pluginGone();

  // Takes a frame from the plug-in. An unknown one is ignored. Returns why it was refused, empty if
  // it wasn't.
  std::string frame(const std::string& text);

  // The whole state, and all log lines that are kept, as news.
  std::string stateNews() const;
  std::string logNews() const;

  // The state alone.
  nlohmann::json state() const;

 private:
  struct Face {
    std::string image;
    std::string title;
    std::string layoutPath;
    nlohmann::json layout;  // null if there is none, or it can't be read
    nlohmann::json feedback = nlohmann::json::object();  // item: {property: value}
    nlohmann::json changed = nlohmann::json::object();   // item: the revision that set it
    std::size_t revision = 0;
  };

  void send(const DeckModel::Events& events);
  void tellPlugin(const std::string& text);
  void write(const std::string& from, const std::string& text);
  void showState();
  std::string apply(const std::string& event, const std::string& context,
                    const nlohmann::json& payload);
  std::string setLayout(Face& face, const std::string& path);
  std::string fill(Face& face, const nlohmann::json& feedback);
  bool namesForeignFile(const nlohmann::json& layout, const std::string& key,
                        const nlohmann::json& given) const;
  nlohmann::json readLayout(const std::string& path) const;
  nlohmann::json describe(const Face& face) const;
  nlohmann::json describeDevices() const;
  nlohmann::json describeContexts() const;
  nlohmann::json describeLink() const;
  nlohmann::json stateLocked() const;
  void dropHiddenFaces();

  const Bundle bundle;
  const Speak toPlugin;
  const Speak toPages;
  mutable std::mutex mutex;
  DeckModel model;
  LinkWatch link;
  std::map<std::string, Face> faces;
  std::size_t lastRevision = 0;  // given to any face; no two faces ever share one
  std::deque<nlohmann::json> lines;
  bool pluginIsThere = false;
  std::optional<std::vector<std::string>> kept{std::in_place};  // events, until it has registered
};
