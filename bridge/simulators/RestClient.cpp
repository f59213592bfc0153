#include "bridge/simulators/RestClient.h"

#include <curl/curl.h>
#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>

#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace bridge {

namespace {

constexpr std::size_t kLongestBody = 64U << 20;  // bytes; a list of every name is some 2 million
constexpr long kConnections = 2;
constexpr int kLongestSleepMs = 60'000;

struct Transfer {
  std::string url;
  std::chrono::milliseconds deadline;
  std::function<void(RestClient::Answer)> finish;
  RestClient::Answer answer;
};

std::size_t takePart(char* part, std::size_t, std::size_t length, void* transfer) {
  std::string& body = static_cast<Transfer*>(transfer)->answer.body;
  if (body.size() + length > kLongestBody) return 0;  // ends the transfer with an error
  body.append(part, length);
  return length;
}

void initialize() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  (void)result;
}

}  // namespace

class RestClient::Transfers {
 public:
  Transfers() {
    initialize();
    multi = curl_multi_init();
    headers = curl_slist_append(nullptr, "Accept: application/json");
    (void)curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, kConnections);
    thread = std::thread([this] { run(); });
  }

  ~Transfers() {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      isEnding = true;
    }
    (void)curl_multi_wakeup(multi);
    thread.join();
    for (const auto& [handle, transfer] : active) remove(handle);
    (void)curl_multi_cleanup(multi);
    curl_slist_free_all(headers);
  }

  Transfers(const Transfers&) = delete;
  Transfers& operator=(const Transfers&) = delete;

  void add(std::unique_ptr<Transfer> transfer) {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      waiting.push_back(std::move(transfer));
    }
    (void)curl_multi_wakeup(multi);
  }

 private:
  void run() {
    while (beginWaiting()) {
      int running = 0;
      (void)curl_multi_perform(multi, &running);
      takeFinished();
      (void)curl_multi_poll(multi, nullptr, 0, kLongestSleepMs, nullptr);
    }
  }

  // False: the object ends.
  bool beginWaiting() {
    std::vector<std::unique_ptr<Transfer>> taken;
    {
      const std::lock_guard<std::mutex> lock(mutex);
      if (isEnding) return false;
      taken.swap(waiting);
    }
    for (auto& transfer : taken) begin(std::move(transfer));
    return true;
  }

  void begin(std::unique_ptr<Transfer> transfer) {
    CURL* const handle = curl_easy_init();
    (void)curl_easy_setopt(handle, CURLOPT_URL, transfer->url.c_str());
    (void)curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    (void)curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS,
                           static_cast<long>(transfer->deadline.count()));
    (void)curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    (void)curl_easy_setopt(handle, CURLOPT_PROXY, "");  // none, whatever the environment names
    (void)curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, takePart);
    (void)curl_easy_setopt(handle, CURLOPT_WRITEDATA, transfer.get());
    (void)curl_multi_add_handle(multi, handle);
    active[handle] = std::move(transfer);
  }

  void takeFinished() {
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
      if (message->msg == CURLMSG_DONE) finish(message->easy_handle, message->data.result);
    }
  }

  void finish(CURL* handle, CURLcode result) {
    const auto transfer = std::move(active[handle]);
    active.erase(handle);
    Answer& answer = transfer->answer;
    if (result == CURLE_OK) {
      (void)curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer.status);
    } else {
      answer.error = curl_easy_strerror(result);
    }
    remove(handle);
    transfer->finish(std::move(answer));
  }

  void remove(CURL* handle) const {
    (void)curl_multi_remove_handle(multi, handle);
    curl_easy_cleanup(handle);
  }

  CURLM* multi = nullptr;
  curl_slist* headers = nullptr;
  std::map<CURL*, std::unique_ptr<Transfer>> active;  // thread only, until it has ended
  std::mutex mutex;
  std::vector<std::unique_ptr<Transfer>> waiting;  // guarded by mutex
  bool isEnding = false;                           // guarded by mutex
  std::thread thread;
};

RestClient::RestClient(asio::io_context& owner, const Endpoint& endpoint)
    : context(owner),
      base("http://" + endpoint.host + ":" + endpoint.port),
      listening(std::make_shared<char>()),
      transfers(std::make_unique<Transfers>()) {}

RestClient::~RestClient() = default;

void RestClient::get(const std::string& path, Done done, std::chrono::milliseconds deadline) {
  auto transfer = std::make_unique<Transfer>();
  transfer->url = base + path;
  transfer->deadline = deadline;
  // The context has work as long as a transfer may still end.
  transfer->finish = [&to = context, wanted = std::weak_ptr<char>(listening),
                      call = std::move(done),
                      work = asio::make_work_guard(context)](Answer answer) {
    asio::post(to, [wanted, call, result = std::move(answer)] {
      if (wanted.lock()) call(result);
    });
  };
  transfers->add(std::move(transfer));
}

void RestClient::forget() {
  listening = std::make_shared<char>();
}

std::string RestClient::escaped(const std::string& text) {
  char* const made = curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size()));
  std::string result = made == nullptr ? "" : made;
  curl_free(made);
  return result;
}

}  // namespace bridge
