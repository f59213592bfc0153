#include "bridge/simulators/XPlaneNames.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "bridge/simulators/Json.h"

using nlohmann::json;

namespace bridge {

namespace {

constexpr std::size_t kBatch = 32;  // names in one request, whose path stays under 4,000 bytes

constexpr std::chrono::seconds kListDeadline{30};

using Names = std::vector<std::string>;

class Search : public std::enable_shared_from_this<Search> {
 public:
  Search(RestClient& to, std::string path, XPlaneNamesFound call)
      : client(to), list(std::move(path)), found(std::move(call)) {}

  void ask(const Names& names) {
    std::string query;
    for (const auto& name : names) {
      query += (query.empty() ? '?' : '&');
      query += "filter[name]=" + RestClient::escaped(name);
    }
    ++open;
    client.get(list + query, [self = shared_from_this(), names](const RestClient::Answer& answer) {
      self->take(names, answer);
    });
  }

 private:
  void take(const Names& names, const RestClient::Answer& answer) {
    if (answer.status == 200) {
      collect(answer.body);
    } else if (answer.status != 404) {
      error = faultOf(answer);
    } else if (names.size() > 1 && error.empty()) {
      const auto middle = names.begin() + static_cast<std::ptrdiff_t>(names.size() / 2);
      ask(Names(names.begin(), middle));
      ask(Names(middle, names.end()));
    }
    if (--open == 0) found(known, error);
  }

  // Entries that can't be read are left out: their names then count as unknown.
  void collect(const std::string& body) {
    const json read = json::parse(body, nullptr, false);
    for (const auto& entry : memberOf(read, "data")) {
      const auto& id = memberOf(entry, "id");
      const std::string name = textMember(entry, "name");
      if (!id.is_number_integer() || name.empty()) continue;
      known[name] = {id.get<std::uint64_t>(), textMember(entry, "value_type")};
    }
  }

  RestClient& client;
  const std::string list;
  const XPlaneNamesFound found;
  int open = 0;
  XPlaneNames known;
  std::string error;
};

// The state of a listing, which asks for one list after the other.
struct Listing {
  RestClient& client;
  std::string pattern;
  Simulator::Names done;
  std::vector<std::string> lists;  // still to be asked for
  Names names;
};

void listNext(const std::shared_ptr<Listing>& listing) {
  if (listing->lists.empty()) {
    std::sort(listing->names.begin(), listing->names.end());
    return listing->done(std::move(listing->names), "");
  }
  const std::string list = listing->lists.back();
  listing->lists.pop_back();
  const auto take = [listing](const RestClient::Answer& answer) {
    if (answer.status != 200) return listing->done({}, faultOf(answer));
    const json read = json::parse(answer.body, nullptr, false);
    for (const auto& entry : memberOf(read, "data")) {
      std::string name = textMember(entry, "name");
      if (name.find(listing->pattern) != std::string::npos)
        listing->names.push_back(std::move(name));
    }
    listNext(listing);
  };
  listing->client.get(list, take, kListDeadline);
}

}  // namespace

void listXPlaneNames(RestClient& client, std::vector<std::string> lists, const std::string& pattern,
                     Simulator::Names done) {
  listNext(
      std::make_shared<Listing>(Listing{client, pattern, std::move(done), std::move(lists), {}}));
}

void findXPlaneNames(RestClient& client, const std::string& list, const Names& names,
                     XPlaneNamesFound found) {
  if (names.empty()) return found({}, "");
  const auto search = std::make_shared<Search>(client, list, std::move(found));
  for (std::size_t at = 0; at < names.size(); at += kBatch) {
    const std::size_t end = std::min(at + kBatch, names.size());
    search->ask(Names(names.begin() + static_cast<std::ptrdiff_t>(at),
                      names.begin() + static_cast<std::ptrdiff_t>(end)));
  }
}

std::string faultOf(const RestClient::Answer& answer) {
  if (answer.status == 0) return answer.error;
  const json read = json::parse(answer.body, nullptr, false);
  std::string fault = "X-Plane answers " + std::to_string(answer.status);
  if (answer.status == 403) {
    fault += " (is \"Disable Incoming Traffic\" set in its network settings?)";
  }
  const std::string said = textMember(read, "error_message");
  return said.empty() ? fault : fault + ": " + said;
}

}  // namespace bridge
