// The connection's life and its events. The commands have a file of their own.
#include "StreamDeckSDK/ESDConnectionManager.h"

#include <string_view>

#include "StreamDeckSDK/EPLJSONUtils.h"
#include "StreamDeckSDK/ESDBasePlugin.h"
#include "StreamDeckSDK/ESDJSONText.h"
#include "StreamDeckSDK/ESDLogger.h"

using nlohmann::json;

namespace {

// The members that any event may carry. Those that are missing or of another type are empty.
struct Event {
  std::string action;
  std::string context;
  std::string device;
  json payload;
  const json& message;
  ESDDialPresses& dialPresses;
};

struct Route {
  std::string_view event;
  void (*call)(ESDBasePlugin&, const Event&);
};

using ContextOperation = void (ESDBasePlugin::*)(const std::string&, const std::string&,
                                                 const json&, const std::string&);

template <ContextOperation operation>
void Call(ESDBasePlugin& plugin, const Event& e) {
  (plugin.*operation)(e.action, e.context, e.payload, e.device);
}

// Newer hosts send the two directions of a dial's press as events of their own, without "pressed".
template <bool isPressed>
void CallDialPress(ESDBasePlugin& plugin, const Event& e) {
  if (e.dialPresses.Repeats(e.context, ESDDialPresses::Form::Pair, isPressed)) return;
  json payload = e.payload;
  payload["pressed"] = isPressed;
  plugin.DialPressForAction(e.action, e.context, payload, e.device);
}

void CallSingleDialPress(ESDBasePlugin& plugin, const Event& e) {
  const auto pressed = e.payload.find("pressed");
  if (pressed != e.payload.end() && pressed->is_boolean() &&
      e.dialPresses.Repeats(e.context, ESDDialPresses::Form::Single, pressed->get<bool>())) {
    return;
  }
  Call<&ESDBasePlugin::DialPressForAction>(plugin, e);
}

// Every event that is understood. Names are compared exactly; any other event is ignored.
constexpr Route kRoutes[] = {
    {"keyDown", Call<&ESDBasePlugin::KeyDownForAction>},
    {"keyUp", Call<&ESDBasePlugin::KeyUpForAction>},
    {"willAppear", Call<&ESDBasePlugin::WillAppearForAction>},
    {"willDisappear",
     [](ESDBasePlugin& plugin, const Event& e) {
       e.dialPresses.Forget(e.context);
       Call<&ESDBasePlugin::WillDisappearForAction>(plugin, e);
     }},
    {"didReceiveSettings", Call<&ESDBasePlugin::DidReceiveSettings>},
    {"didReceiveGlobalSettings",
     [](ESDBasePlugin& plugin, const Event& e) { plugin.DidReceiveGlobalSettings(e.payload); }},
    {"deviceDidConnect",
     [](ESDBasePlugin& plugin, const Event& e) {
       json deviceInfo;
       (void)EPLJSONUtils::GetObjectByName(e.message, "deviceInfo", deviceInfo);
       plugin.DeviceDidConnect(e.device, deviceInfo);
     }},
    {"deviceDidDisconnect",
     [](ESDBasePlugin& plugin, const Event& e) { plugin.DeviceDidDisconnect(e.device); }},
    {"sendToPlugin", Call<&ESDBasePlugin::SendToPlugin>},
    {"systemDidWakeUp", [](ESDBasePlugin& plugin, const Event&) { plugin.SystemDidWakeUp(); }},
    {"dialPress", CallSingleDialPress},
    {"dialRotate", Call<&ESDBasePlugin::DialRotateForAction>},
    {"touchTap", Call<&ESDBasePlugin::TouchTabForAction>},
    {"dialDown", CallDialPress<true>},
    {"dialUp", CallDialPress<false>},
};

}  // namespace

ESDConnectionManager::ESDConnectionManager(int port, const std::string& pluginUUID,
                                           const std::string& registerEvent,
                                           const std::string& /*info*/, ESDBasePlugin* plugin)
    : mPort(port), mPluginUUID(pluginUUID), mRegisterEvent(registerEvent), mPlugin(plugin) {
  if (mPlugin != nullptr) mPlugin->SetConnectionManager(this);
}

void ESDConnectionManager::Run() {
  mEventLoop.store(std::this_thread::get_id(), std::memory_order_relaxed);
  try {
    Connect();
    // Handlers run in here, so what they raise arrives here too: the library's own errors, and an
    // identifier that can't be written as JSON.
  } catch (const std::exception& e) {
    if (!ESDLogger::disableDebugLogging) {
      ESDLogWithContext(__FILE__, "Websocket threw an exception: {}", e.what());
    }
  }
}

void ESDConnectionManager::Connect() {
  mWebsocket.clear_access_channels(websocketpp::log::alevel::all);
  mWebsocket.clear_error_channels(websocketpp::log::elevel::all);

  auto context = std::make_shared<asio::io_context>();
  mWebsocket.init_asio(context.get());
  mAsioContext = context;
  InstallHandlers();

  websocketpp::lib::error_code error;
  const auto connection =
      mWebsocket.get_connection("ws://127.0.0.1:" + std::to_string(mPort), error);
  if (error) {
    if (!ESDLogger::disableDebugLogging) {
      ESDLogWithContext(__FILE__, "Connect initialization error: {}", error.message());
    }
    return;
  }
  mConnectionHandle = connection->get_handle();
  mWebsocket.connect(connection);
  mWebsocket.run();
}

void ESDConnectionManager::InstallHandlers() {
  using websocketpp::connection_hdl;
  mWebsocket.set_open_handler([this](connection_hdl handle) { OnOpen(&mWebsocket, handle); });
  mWebsocket.set_fail_handler([this](connection_hdl handle) { OnFail(&mWebsocket, handle); });
  mWebsocket.set_close_handler([this](connection_hdl handle) { OnClose(&mWebsocket, handle); });
  mWebsocket.set_tcp_pre_init_handler(
      [this](connection_hdl handle) { SendWithoutDelay(Find(&mWebsocket, handle)); });
  mWebsocket.set_message_handler(
      [this](connection_hdl handle, Message message) { OnMessage(handle, std::move(message)); });
}

// Without this the second of several commands waits for the host to acknowledge the first, for
// which a host takes some 40 ms.
void ESDConnectionManager::SendWithoutDelay(const std::shared_ptr<Connection>& connection) {
  asio::error_code ignored;
  if (connection) connection->get_socket().set_option(asio::ip::tcp::no_delay(true), ignored);
}

void ESDConnectionManager::OnOpen(Client* /*client*/, websocketpp::connection_hdl /*handle*/) {
  if (!ESDLogger::disableDebugLogging) ESDLogWithContext(__FILE__, "OnOpen");
  Send({{"event", mRegisterEvent}, {"uuid", mPluginUUID}});
  mIsRegistered.store(true, std::memory_order_release);  // pairs with the load in MaySend
}

void ESDConnectionManager::OnFail(Client* client, websocketpp::connection_hdl handle) {
  const auto connection = Find(client, handle);
  OnEnd("Failed with reason: ", connection ? connection->get_ec().message() : "");
}

void ESDConnectionManager::OnClose(Client* client, websocketpp::connection_hdl handle) {
  const auto connection = Find(client, handle);
  OnEnd("Close with reason: ", connection ? connection->get_remote_close_reason() : "");
}

// Null: there is no such connection any more.
std::shared_ptr<ESDConnectionManager::Connection> ESDConnectionManager::Find(
    Client* client, const websocketpp::connection_hdl& handle) {
  websocketpp::lib::error_code ignored;
  return client == nullptr ? nullptr : client->get_con_from_hdl(handle, ignored);
}

void ESDConnectionManager::OnEnd(const char* line, const std::string& reason) {
  if (!ESDLogger::disableDebugLogging) ESDLogWithContext(__FILE__, line + reason);
  if (!mAsioContext) return;
  if (!ESDLogger::disableDebugLogging) ESDLogWithContext(__FILE__, "Stopping ASIO context");
  mAsioContext->stop();
}

void ESDConnectionManager::OnMessage(websocketpp::connection_hdl /*handle*/, Message message) {
  if (!message || message->get_opcode() != websocketpp::frame::opcode::text) return;
  const std::string text = message->get_payload();
  if (!ESDLogger::disableDebugLogging) ESDLogWithContext(__FILE__, "OnMessage: {}", text);
  try {
    if (mPlugin != nullptr) Dispatch(ESDJSONText::Read(text));
  } catch (...) {
    // The host may send anything, and a plug-in may raise: the frame is dropped, the next counts.
  }
}

void ESDConnectionManager::Dispatch(const json& message) {
  const std::string name = EPLJSONUtils::GetStringByName(message, "event");
  Event event{EPLJSONUtils::GetStringByName(message, "action"),
              EPLJSONUtils::GetStringByName(message, "context"),
              EPLJSONUtils::GetStringByName(message, "device"),
              json(),
              message,
              mDialPresses};
  (void)EPLJSONUtils::GetObjectByName(message, "payload", event.payload);
  for (const Route& route : kRoutes) {
    if (route.event == name) {
      route.call(*mPlugin, event);
      return;
    }
  }
}

void ESDConnectionManager::LogMessage(const std::string& message) {
  if (message.empty()) return;
  Send({{"event", "logMessage"}, {"payload", {{"message", message}}}});
}

void ESDConnectionManager::Send(const json& message) {
  SendText(message.dump());
}

// The library's send may be called beside the running event loop: it queues the frame under the
// connection's lock, in the order of the calls, and the loop writes it. Its error says only that
// the connection isn't open, and a command that can't be sent is lost.
void ESDConnectionManager::SendText(std::string text) {
  if (!MaySend()) return;
  websocketpp::lib::error_code ignored;
  mWebsocket.send(mConnectionHandle, mFrames.Of(std::move(text)), ignored);
}

bool ESDConnectionManager::MaySend() const {
  return mIsRegistered.load(std::memory_order_acquire) ||
         mEventLoop.load(std::memory_order_relaxed) == std::this_thread::get_id();
}
