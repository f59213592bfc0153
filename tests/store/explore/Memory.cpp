#include "tests/store/explore/Memory.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "tests/store/explore/Schedule.h"

namespace explore {
namespace {

using Byte = unsigned char;
using View = std::vector<std::uint16_t>;  // for each place, the oldest value that may still be read

struct Value {
  std::uint64_t bits;
  View view;
};

struct Place {
  std::vector<Value> values;
  std::uint16_t newestSeqCst = 0;
};

struct Eyes {
  View seen;      // the oldest values that later reads may get
  View acquired;  // joins `seen` at an acquire fence
  View released;  // goes along with relaxed values
};

// Places are named by the offset at which they begin.
struct WeakMemory {
  const Byte* region = nullptr;
  std::size_t size = 0;
  std::vector<std::uint16_t> nameOf;  // of an offset, from 1
  std::vector<Place> places;
  std::vector<Eyes> threads;
};

WeakMemory weak;

std::uint64_t plain(const void* at, std::size_t bytes) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, at, bytes);
  return bits;
}

void setPlain(void* at, std::size_t bytes, std::uint64_t bits) {
  std::memcpy(at, &bits, bytes);
}

void join(View& view, const View& other) {
  if (view.size() < other.size()) view.resize(other.size());
  for (std::size_t i = 0; i < other.size(); ++i) view[i] = std::max(view[i], other[i]);
}

std::uint16_t& in(View& view, std::size_t place) {
  if (view.size() <= place) view.resize(place + 1);
  return view[place];
}

bool isWeak(const void* at) {
  const Byte* byte = static_cast<const Byte*>(at);
  return current() >= 0 && weak.region != nullptr && byte >= weak.region &&
         byte < weak.region + weak.size;
}

std::size_t placeOf(const void* at, std::size_t bytes) {
  auto& name = weak.nameOf[static_cast<std::size_t>(static_cast<const Byte*>(at) - weak.region)];
  if (name == 0) {
    weak.places.push_back({{{plain(at, bytes), {}}}, 0});
    name = static_cast<std::uint16_t>(weak.places.size());
  }
  return name - 1U;
}

Eyes& eyes() {
  return weak.threads[static_cast<std::size_t>(current())];
}

std::uint64_t get(const void* at, std::size_t bytes, Order order) {
  if (!isWeak(at)) return plain(at, bytes);
  const std::size_t id = placeOf(at, bytes);
  const Place& place = weak.places[id];
  Eyes& self = eyes();
  std::size_t oldest = in(self.seen, id);
  if (order == Order::SeqCst) oldest = std::max<std::size_t>(oldest, place.newestSeqCst);
  const std::size_t newest = place.values.size() - 1;
  const std::size_t taken = newest - choose(newest - oldest + 1);
  if (taken != newest) trace("gets an older value");
  in(self.seen, id) = static_cast<std::uint16_t>(taken);
  const Value& value = place.values[taken];
  join(order == Order::Relaxed ? self.acquired : self.seen, value.view);
  return value.bits;
}

void put(void* at, std::size_t bytes, std::uint64_t bits, Order order, const View* swapped) {
  if (isWeak(at)) {
    const std::size_t id = placeOf(at, bytes);
    Place& place = weak.places[id];
    Eyes& self = eyes();
    const auto newest = static_cast<std::uint16_t>(place.values.size());
    in(self.seen, id) = newest;
    Value value{bits, order == Order::Relaxed ? self.released : self.seen};
    in(value.view, id) = newest;
    if (swapped != nullptr) join(value.view, *swapped);
    place.values.push_back(std::move(value));
    if (order == Order::SeqCst) place.newestSeqCst = newest;
  }
  setPlain(at, bytes, bits);
}

// The newest value, which is the one that a swap finds.
std::uint64_t newest(const void* at, std::size_t bytes, View& view) {
  if (isWeak(at)) {
    const std::size_t id = placeOf(at, bytes);
    const Place& place = weak.places[id];
    Eyes& self = eyes();
    in(self.seen, id) = static_cast<std::uint16_t>(place.values.size() - 1);
    view = place.values.back().view;
    join(self.seen, view);
  }
  return plain(at, bytes);
}

}  // namespace

void beginWeakMemory(void* region, std::size_t size, std::size_t threads) {
  weak.region = static_cast<const Byte*>(region);
  weak.size = size;
  weak.nameOf.assign(size, 0);
  weak.places.clear();
  weak.threads.assign(threads, {});
}

void endWeakMemory() {
  weak.region = nullptr;
}

std::uint64_t load(const void* word, std::size_t bytes, Order order) {
  step(order == Order::SeqCst ? "loadSeqCst" : "loadAcquire", word);
  const std::uint64_t bits = get(word, bytes, order);
  traceValue(bits);
  return bits;
}

void store(void* word, std::size_t bytes, std::uint64_t value, Order order) {
  step(order == Order::SeqCst ? "storeSeqCst" : "storeRelease", word);
  traceValue(value);
  put(word, bytes, value, order, nullptr);
}

bool compareAndSwap(void* word, std::size_t bytes, std::uint64_t& seen, std::uint64_t desired) {
  step("compareAndSwap", word);
  View view;
  const std::uint64_t found = newest(word, bytes, view);
  const bool swaps = found == seen;
  traceValue(found);
  trace(swaps ? "  swapped" : "  failed");
  if (swaps) put(word, bytes, desired, Order::SeqCst, &view);
  seen = found;
  return swaps;
}

std::uint64_t fetchAdd(void* word, std::size_t bytes, std::uint64_t amount) {
  step("fetchAdd", word);
  View view;
  const std::uint64_t found = newest(word, bytes, view);
  traceValue(found);
  put(word, bytes, found + amount, Order::SeqCst, &view);
  return found;
}

void fence(Order order) {
  if (current() < 0 || weak.region == nullptr) return;
  Eyes& self = eyes();
  if (order == Order::Acquire) join(self.seen, self.acquired);
  if (order == Order::Release) self.released = self.seen;
}

void read(void* to, const void* region, std::size_t count) {
  step("reads from", region);
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0 && i == count / 2) step("reads on from", static_cast<const Byte*>(region) + i);
    static_cast<Byte*>(to)[i] =
        static_cast<Byte>(get(static_cast<const Byte*>(region) + i, 1, Order::Relaxed));
  }
}

void write(void* region, const void* from, std::size_t count) {
  step("writes to", region);
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0 && i == count / 2) step("writes on to", static_cast<Byte*>(region) + i);
    put(static_cast<Byte*>(region) + i, 1, static_cast<const Byte*>(from)[i], Order::Relaxed,
        nullptr);
  }
}

}  // namespace explore
