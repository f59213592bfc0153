#include "bridge/Bridge.h"

#include <asio/post.hpp>
#include <stdexcept>
#include <utility>

#include "bridge/Log.h"
#include "bridge/Text.h"

namespace bridge {

namespace {

// The link is polled, because nothing in a store can wake a process. While the deck is in use it is
// polled more often, so that a press is noticed sooner.
constexpr std::chrono::milliseconds kPollInUse{3};
constexpr std::chrono::milliseconds kPollAtRest{10};
constexpr PanelView::Time kInUse{10000};

constexpr std::chrono::milliseconds kFileLook{500};
constexpr PanelView::Time kNoticeTime{3000};

// Words that are shown instead of values.
constexpr char kNoSimulatorYet[] = "OFFLINE";
constexpr char kLost[] = "LOST";
constexpr char kNoAircraftYet[] = "WAITING";
constexpr char kBadFile[] = "BAD FILE";

constexpr std::size_t kShownBytes = 200;

}  // namespace

Bridge::Bridge(asio::io_context& used, Simulator& flown, SimulatorKind whose, PanelLibrary& found,
               Symbols& drawn)
    : context(used),
      simulator(flown),
      kind(whose),
      library(found),
      symbols(drawn),
      painter(symbols),
      pictures(painter),
      view(pictures, [this](const std::string& message) { return send(message); }),
      fileTimer(used),
      started(Clock::now()) {}

Bridge::~Bridge() {
  view.setPanel(nullptr, nullptr, nullptr);
}

// The wait for the next poll is the time-out of the loop's own wait: a timer would cost two more
// system calls for each poll.
void Bridge::run() {
  start();
  while (!context.stopped()) {
    pollLink();
    context.run_for(now() - lastUse < kInUse ? kPollInUse : kPollAtRest);
  }
  leave();
}

void Bridge::start() {
  (void)library.refresh();
  for (const auto& problem : library.problems()) Log::line(problem.describe());
  setAbsence();
  simulator.start(*this);
  watchFiles();
}

// Blanks every key and dial, since nothing will answer them from now on.
void Bridge::leave() {
  view.setPanel(nullptr, nullptr, nullptr);
  view.blank();
}

void Bridge::onConnected() {
  Log::line("simulator connected");
  isConnected = wasConnected = true;
  if (session != nullptr) session->hand.setConnected(true);
  setAbsence();
}

void Bridge::onLost(const std::string& reason) {
  Log::line("simulator lost: " + Text::repaired(reason));
  isConnected = false;
  if (session != nullptr) {
    session->values.forget();
    session->hand.setConnected(false);
  }
  setAbsence();
}

void Bridge::onAircraft(const std::vector<std::string>& names) {
  aircraft = names;
  std::string all;
  for (const std::string& name : names) all += (all.empty() ? "" : ", ") + Text::repaired(name);
  Log::line("aircraft " + all);
  choosePanel();
}

void Bridge::onValue(std::size_t place, const Value& value) {
  if (session == nullptr || place >= session->followed.size()) return;
  const auto* text = std::get_if<std::string>(&value);
  session->values.set(session->followed[place], text == nullptr ? value : Text::repaired(*text));
  session->hand.told(session->followed[place]);
  view.changed();
  showSoon();
}

void Bridge::onValueUnknown(std::size_t place) {
  if (session == nullptr || place >= session->followed.size()) return;
  const Panel::Row& row = session->panel->values[session->followed[place]];
  Log::line("the simulator has no value " + *row.names[static_cast<std::size_t>(kind)] + " (" +
            row.name + ")");
  session->values.setUnknown(session->followed[place]);
  view.changed();
  showSoon();
}

void Bridge::onCommandUnknown(std::size_t place) {
  if (session == nullptr || place >= session->followedCommands.size()) return;
  const Panel::CommandRow& row = session->panel->commands[session->followedCommands[place]];
  Log::line("the simulator has no command " + row.commands[static_cast<std::size_t>(kind)]->name +
            " (" + row.name + ")");
  session->hand.setKnown(session->followedCommands[place], false);
}

void Bridge::onCommandKnown(std::size_t place) {
  if (session == nullptr || place >= session->followedCommands.size()) return;
  session->hand.setKnown(session->followedCommands[place], true);
}

void Bridge::onRefused(const std::string& reason) {
  Log::line("refused: " + Text::repaired(reason));
  view.alertLast(now());
  showSoon();
}

void Bridge::choosePanel() {
  auto chosen = library.choose(aircraft);
  if (chosen == nullptr) Log::line("no panel for this aircraft");
  if (session == nullptr ? chosen != nullptr : chosen != session->panel) adopt(std::move(chosen));
  setAbsence();
}

// The old session is kept until the view has the new panel: until then the view refers to it.
void Bridge::adopt(std::shared_ptr<const Panel> panel) {
  const std::unique_ptr<Session> old = std::move(session);
  symbols.forget();
  pictures.forget();
  if (panel == nullptr) {
    view.setPanel(nullptr, nullptr, nullptr);
    simulator.follow({}, {});
    return;
  }
  session = std::make_unique<Session>(std::move(panel), kind, simulator);
  session->hand.setConnected(isConnected);
  view.setPanel(session->panel.get(), &session->values, &session->hand);
  Log::line("panel " + session->panel->name + ", " + library.fileOf(session->panel.get()).string());
  follow();
}

// A row without a name for this simulator counts as unknown, as one does whose name the simulator
// doesn't know.
void Bridge::follow() {
  const auto which = static_cast<std::size_t>(kind);
  std::vector<std::string> names;
  std::vector<Command> commands;
  for (std::size_t i = 0; i < session->panel->values.size(); ++i) {
    const auto& name = session->panel->values[i].names[which];
    if (!name) {
      session->values.setUnknown(i);
      continue;
    }
    names.push_back(*name);
    session->followed.push_back(i);
  }
  for (std::size_t i = 0; i < session->panel->commands.size(); ++i) {
    const auto& command = session->panel->commands[i].commands[which];
    if (!command) continue;
    commands.push_back(*command);
    session->followedCommands.push_back(i);
  }
  simulator.follow(std::move(names), std::move(commands));
}

void Bridge::pollLink() {
  for (const std::string& message : link.poll()) {
    Log::detail("from panel    " + message);
    if (view.handle(message, now())) lastUse = now();
  }
  if (link.isUp() != wasUp) {
    wasUp = link.isUp();
    Log::line(wasUp ? "link up" : "link down");
    if (!wasUp) view.letGo();
  }
  if (!notice.empty() && now() >= noticeEnd) {
    notice.clear();
    setAbsence();
  }
  show();
}

void Bridge::watchFiles() {
  fileTimer.expires_after(kFileLook);
  fileTimer.async_wait([this](const asio::error_code& error) {
    if (error) return;
    if (library.refresh()) {
      reportProblems();
      if (!aircraft.empty()) choosePanel();
    }
    watchFiles();
  });
}

// The panel in use stays as it was. The keys say for a moment where the file that was saved is
// wrong, or no longer if it has been mended.
void Bridge::reportProblems() {
  const auto& problems = library.problems();
  for (const auto& problem : problems) Log::line(problem.describe());
  notice.clear();
  if (!problems.empty()) {
    const int line = problems.front().line;
    notice = line > 0 ? "LINE " + std::to_string(line) : kBadFile;
    noticeEnd = now() + kNoticeTime;
    view.alertAll();
  }
  setAbsence();
}

// Shows at the next turn of the loop, so that values that come together are shown together.
void Bridge::showSoon() {
  if (isShowing) return;
  isShowing = true;
  asio::post(context, [this] {
    isShowing = false;
    show();
  });
}

void Bridge::show() {
  if (!link.isUp()) return;
  try {
    view.show(now());
  } catch (const std::runtime_error& error) {
    if (complaint != error.what()) Log::line("can't paint: " + std::string(error.what()));
    complaint = error.what();
  }
  if (view.summary() == summary) return;
  summary = view.summary();
  Log::line("panel has " + summary);
}

void Bridge::setAbsence() {
  std::string word = notice;
  if (word.empty() && !isConnected) word = wasConnected ? kLost : kNoSimulatorYet;
  if (word.empty() && aircraft.empty()) word = kNoAircraftYet;
  view.setAbsence(word);
  showSoon();
}

bool Bridge::send(const std::string& message) {
  if (Log::isVerbose()) Log::detail("to panel      " + Text::shortened(message, kShownBytes));
  const bool isSent = link.send(message);
  if (!isSent) Log::line("the store is full");
  return isSent;
}

Bridge::Time Bridge::now() const {
  return std::chrono::duration_cast<Time>(Clock::now() - started);
}

}  // namespace bridge
