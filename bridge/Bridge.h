// Joins a simulator and the panel's end of the link by a panel file: values become faces, and
// presses become commands.
//
// All of it runs on one asio::io_context. A value is drawn and sent as soon as the simulator tells
// it; the link is polled, because nothing in a store can wake a process.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "bridge/Hand.h"
#include "bridge/PanelLibrary.h"
#include "bridge/PanelView.h"
#include "bridge/Simulator.h"
#include "bridge/Symbols.h"
#include "simulator/SimulatorLink.h"

namespace bridge {

class Bridge : private Simulator::Observer {
 public:
  // All of them outlive the object. Throws std::runtime_error if a store can't be opened.
  Bridge(asio::io_context& used, Simulator& flown, SimulatorKind whose, PanelLibrary& found,
         Symbols& drawn);
  ~Bridge() override;
  Bridge(const Bridge&) = delete;
  Bridge& operator=(const Bridge&) = delete;

  // Called once. Runs the context until that is stopped, and then blanks every key and dial.
  void run();

 private:
  using Clock = std::chrono::steady_clock;
  using Time = PanelView::Time;

  // The panel in use, and what belongs to it.
  struct Session {
    Session(std::shared_ptr<const Panel> used, SimulatorKind whose, Simulator& flown)
        : panel(std::move(used)), hand(*panel, whose, values, flown) {
      values.reset(panel->values.size());
    }

    std::shared_ptr<const Panel> panel;
    Values values;
    Hand hand;
    std::vector<std::size_t> followed;          // places in the panel, by place in `follow`
    std::vector<std::size_t> followedCommands;  // the same for commands
  };

  void onConnected() override;
  void onLost(const std::string& reason) override;
  void onAircraft(const std::vector<std::string>& names) override;
  void onValue(std::size_t place, const Value& value) override;
  void onValueUnknown(std::size_t place) override;
  void onCommandUnknown(std::size_t place) override;
  void onCommandKnown(std::size_t place) override;
  void onRefused(const std::string& reason) override;

  void start();
  void leave();
  void choosePanel();
  void adopt(std::shared_ptr<const Panel> panel);
  void follow();
  void pollLink();
  void watchFiles();
  void reportProblems();
  void showSoon();
  void show();
  void setAbsence();
  bool send(const std::string& message);
  Time now() const;

  asio::io_context& context;
  Simulator& simulator;
  SimulatorKind kind;
  PanelLibrary& library;
  Symbols& symbols;
  FacePainter painter;
  Pictures pictures;
  velomar::SimulatorLink link;
  PanelView view;
  asio::steady_timer fileTimer;
  std::unique_ptr<Session> session;
  std::vector<std::string> aircraft;
  Clock::time_point started;
  Time lastUse{0};
  bool isConnected = false;
  bool wasConnected = false;
  bool wasUp = false;
  bool isShowing = false;
  std::string notice;  // a word shown on every key until `noticeEnd`
  Time noticeEnd{0};
  std::string complaint;  // the last that was logged of painting
  std::string summary;
};

}  // namespace bridge
