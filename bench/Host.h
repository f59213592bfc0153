// The Stream Deck application's end, as lean as it can be: it counts the frames that come in, and
// can wait for them. It unmasks only the beginning of a frame. A host that unmasks and checks all
// of an image takes longer than the program, and on two CPUs the host would be measured instead.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace bench {

// One program connects to it. A thread of the object reads; one other thread may call.
class Host {
 public:
  // Listens on a free port of this machine.
  Host();
  // Closes the connection if the program hasn't.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  std::string port() const;

  // Returns the number of frames that have arrived as a whole, without those of log lines.
  std::uint64_t count();
  // Waits for so many frames. Ends the benchmark if they don't come.
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
