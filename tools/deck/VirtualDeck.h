// What a virtual Stream Deck is and shows: the model, the face of every context on show, and the
// log of the frames in both directions. It speaks in two directions through callbacks, which are
// called under its lock and must not call back: events to the plug-in, and news to the web pages as
// JSON texts. Any thread may call.
//
// News: {"kind":"state","state":STATE} whenever devices or places change,
// {"kind":"face","context":ID,"face":FACE}, {"kind":"sign","context":ID,"sign":"ok"|"alert"},
// {"kind":"log","lines":[{"time":S,"from":WHO,"text":TEXT}]}.
#pragma once

#include <cstddef>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/deck/DeckModel.h"

class VirtualDeck {
 public:
  using Speak = std::function<void(const std::string&)>;

  // `folder` is the plug-in's, in which it names layouts.
  VirtualDeck(std::filesystem::path folder, Speak toPlugin, Speak toPages);

  // Carries out one command of DeckModel, or sends an event that begins with '{' as it is. Returns
  // an error text, empty on success.
  std::string obey(const std::string& command);

  // The plug-in has registered or gone. A new one is told everything that is on show.
  void pluginRegistered();
  void pluginGone();

  // A frame from the plug-in. What isn't understood is ignored.
  void frame(const std::string& text);

  // Adds a line to the log.
  void log(const std::string& from, const std::string& text);

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
  void apply(const std::string& event, const std::string& context, const nlohmann::json& payload);
  static void fill(Face& face, const nlohmann::json& feedback);
  nlohmann::json readLayout(const std::string& path) const;
  nlohmann::json describe(const Face& face) const;
  nlohmann::json stateLocked() const;
  void dropHiddenFaces();

  const std::filesystem::path folder;
  const Speak toPlugin;
  const Speak toPages;
  mutable std::mutex mutex;
  DeckModel model;
  std::map<std::string, Face> faces;
  std::size_t lastRevision = 0;  // of any face: no two ever have the same
  std::deque<nlohmann::json> lines;
  bool pluginIsThere = false;
};
