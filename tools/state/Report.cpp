#include "tools/state/Report.h"

#include <algorithm>
#include <sstream>

#include "tools/common/Wrapped.h"

using nlohmann::json;

namespace {

constexpr std::size_t kWidth = 80;  // of a terminal

std::string timeOf(std::time_t time) {
  if (time == 0) return "?";
  std::tm parts{};
  char text[32] = {};
  if (localtime_r(&time, &parts) != nullptr) {
    (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  }
  return text;
}

const char* kindOf(StoreFile::Kind kind) {
  switch (kind) {
    case StoreFile::Kind::Missing:
      return "missing";
    case StoreFile::Kind::Ready:
      return "ready";
    case StoreFile::Kind::NotAFile:
      return "not a file";
    case StoreFile::Kind::DanglingLink:
      return "a link to nothing";
    case StoreFile::Kind::NotPermitted:
      return "not permitted";
    case StoreFile::Kind::NoRoom:
      return "no room";
  }
  return "";
}

const char* roleOf(const Process& process) {
  if (process.isPanel()) return "panel";
  return process.isOfLink() ? "simulator's side" : "user of other stores";
}

const char* textOf(Hold hold) {
  switch (hold) {
    case Hold::ThisFile:
      return "this file";
    case Hold::RemovedFile:
      return "a removed file";
    case Hold::OtherFile:
      return "a file elsewhere";
  }
  return "";
}

std::size_t livingAt(const std::string& store, const Processes& processes) {
  return static_cast<std::size_t>(
      std::count_if(processes.found.begin(), processes.found.end(),
                    [&](const Process& process) { return process.has(store); }));
}

void writeKeys(std::ostream& out, const RegionAudit& audit) {
  const u64 waiting = audit.usedSlots - audit.brokenSlots;
  out << "  keys         " << waiting << " waiting\n";
  for (const auto& key : audit.keys) {
    out << "    " << printable(key.text) << (key.keyBytes > key.text.size() ? "..." : "") << "  "
        << printable(key.value);
    if (key.valueBytes > key.value.size()) out << "... " << key.valueBytes << " bytes";
    out << "\n";
  }
  if (waiting > audit.keys.size()) out << "    and " << waiting - audit.keys.size() << " more\n";
}

void writeDamage(std::ostream& out, const RegionAudit& audit) {
  if (audit.lost > 0) {
    out << "  lost         " << audit.lost
        << " blocks are neither free nor in use: a process was killed\n"
           "               while it held them. End all that use the store and delete the\n"
           "               file; it is then made again.\n";
  }
  if (audit.twice > 0) {
    out << "  damaged      " << audit.twice << " blocks are in more than one place\n";
  }
  if (audit.brokenSlots > 0) {
    out << "  damaged      " << audit.brokenSlots << " slots name a value that isn't whole\n";
  }
}

void writeFigures(std::ostream& out, const RegionAudit& audit) {
  out << "  length       " << audit.fileBytes << " bytes\n"
      << "  flags        " << audit.flags << " ("
      << (audit.flags == 1 ? "set up" : "not set up to its end") << ")\n"
      << "  attachments  " << audit.attachments << "\n"
      << "  blocks       " << audit.blockCount << " of " << audit.blockSize
      << " bytes: " << audit.freeBlocks << " free, " << audit.usedBlocks << " in use, "
      << audit.lost << " lost\n"
      << "  slots        " << audit.blockCount << ": " << audit.usedSlots << " used, "
      << audit.deletedSlots << " deleted\n"
      << "  readers      inside " << audit.pinnedChains << " values\n";
  writeKeys(out, audit);
  writeDamage(out, audit);
}

json keysOf(const RegionAudit& audit) {
  json keys = json::array();
  for (const auto& key : audit.keys) {
    keys.push_back({{"key", printable(key.text)},
                    {"value", printable(key.value)},
                    {"valueBytes", key.valueBytes}});
  }
  return keys;
}

}  // namespace

std::string printable(const std::string& text) {
  std::string shown;
  for (const char c : text) shown += c >= ' ' && c <= '~' ? c : '?';
  return shown;
}

std::string textOf(const StoreFacts& store) {
  std::ostringstream out;
  out << printable(store.name) << "\n  file         " << printable(StoreFile::pathOf(store.name));
  if (!store.file.owner.empty()) out << ", of user " << store.file.owner;
  out << "\n";
  if (store.audit) {
    writeFigures(out, *store.audit);
  } else {
    const bool isFault = store.file.kind != StoreFile::Kind::Ready;
    out << "  unreadable   " << (isFault ? kindOf(store.file.kind) : store.problem) << "\n";
  }
  return out.str();
}

std::string textOf(const Facts& facts) {
  std::ostringstream out;
  out << "Processes\n";
  for (const Process& process : facts.processes.found) {
    out << "  " << roleOf(process) << ": " << printable(process.program) << "\n    pid "
        << process.pid << ", user " << process.user << ", since " << timeOf(process.since)
        << (process.isStopped ? ", stopped" : "") << "\n";
    for (const auto& [store, hold] : process.holds) {
      out << "    " << printable(store) << ": " << textOf(hold) << "\n";
    }
  }
  if (facts.processes.found.empty()) out << "  neither panel nor simulator's side\n";
  for (const StoreFacts* store : {&facts.toSimulator, &facts.toPanel}) {
    if (!store->audit) continue;
    out << "  " << store->name << ": of " << store->audit->attachments << " attachments "
        << livingAt(store->name, facts.processes) << " live; "
        << (store->isWritten ? "written" : "not written") << ", "
        << (store->isTaken ? "taken" : "not taken") << "\n";
  }
  return out.str();
}

std::string textOf(const Verdict& verdict) {
  const std::string remedy = verdict.remedy.empty() ? "" : wrapped(verdict.remedy, kWidth) + "\n";
  return wrapped(verdict.words, kWidth) + "\n" + remedy;
}

json jsonOf(const StoreFacts& store) {
  json object = {{"name", printable(store.name)},
                 {"path", printable(StoreFile::pathOf(store.name))},
                 {"file", kindOf(store.file.kind)},
                 {"owner", store.file.owner}};
  if (!store.audit) {
    object["problem"] = store.problem;
    return object;
  }
  const RegionAudit& audit = *store.audit;
  object.update({{"bytes", audit.fileBytes},
                 {"attachments", audit.attachments},
                 {"blocks", audit.blockCount},
                 {"blockSize", audit.blockSize},
                 {"free", audit.freeBlocks},
                 {"used", audit.usedBlocks},
                 {"lost", audit.lost},
                 {"twice", audit.twice},
                 {"brokenSlots", audit.brokenSlots},
                 {"pinned", audit.pinnedChains},
                 {"waiting", audit.usedSlots},
                 {"written", store.isWritten},
                 {"taken", store.isTaken},
                 {"oldestWaitsSeconds", store.waits.count()}});
  object["keys"] = keysOf(audit);
  return object;
}

json jsonOf(const Facts& facts) {
  json processes = json::array();
  for (const Process& process : facts.processes.found) {
    json holds = json::object();
    for (const auto& [store, hold] : process.holds) holds[printable(store)] = textOf(hold);
    processes.push_back({{"pid", process.pid},
                         {"program", printable(process.program)},
                         {"user", process.user},
                         {"since", process.since},
                         {"role", roleOf(process)},
                         {"stopped", process.isStopped},
                         {"holds", std::move(holds)}});
  }
  return {{"processes", std::move(processes)}, {"hiddenProcesses", facts.processes.hidden}};
}

json jsonOf(const Verdict& verdict) {
  return {{"code", verdict.code},
          {"well", verdict.isWell()},
          {"words", verdict.words},
          {"remedy", verdict.remedy}};
}
