// The Stream Deck application's end, as lean as it can be: it counts the frames that come in, and
// can wait for them. Of a frame it unmasks only the beginning. A host that unmasks and checks all
// of an image takes more time for it than the program does, and on two CPUs that would be what is
// measured.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace bench {

// One program connects to it. A thread of its own reads; the operations may be called by one other.
class Host {
 public:
  // Listens on a free port of this machine.
  Host();
  // Hangs up, if the program hasn't.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  std::string port() const;

  // Frames that are here as a whole, log lines aside.
  std::uint64_t count();
  // Ends the benchmark if so many don't come.
  void awaitCount(std::uint64_t wanted);

  // REQUIRES: a frame has come in, and the text is shorter than 64 KB.
  void send(const std::string& text);

 private:
  void serve();
  void answerHandshake();
  void readFrames();
  void take(std::string_view bytes);
  void takeBeginning();
  void countFrame();

  int listener;
  std::atomic<int> connection{-1};
  std::string beginning;   // of a frame, its header first, until there is enough of it
  std::uint64_t left = 0;  // bytes of the frame after its beginning
  bool isLogLine = false;  // the frame
  std::mutex mutex;
  std::condition_variable changed;
  std::uint64_t frames = 0;  // guarded by mutex
  std::thread thread;
};

}  // namespace bench
