// The one link to the Stream Deck application: a WebSocket client on 127.0.0.1.
//
// Made once, never retried: when the connection fails or ends, Run returns and the process goes
// with it. Run and the handlers belong to the main thread, which runs the event loop; the handlers
// never run beside each other. Commands and LogMessage may come from any thread.
//
// A command is one JSON object in one text frame, its keys in byte order. It returns at once,
// reports nothing, and is lost without a word while there is no open connection. Text that isn't
// valid UTF-8 raises the JSON library's type_error, and nothing is sent.
//
// The object lives until the process ends, because the plug-in, its actions and the logger hold
// pointers to it.
#pragma once

// A standard header has to come before Asio's: only after one does Asio find the library's aligned
// allocation, and all files of a program must allocate alike.
#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <asio/io_context.hpp>
#include <nlohmann/json.hpp>
#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

#include "StreamDeckSDK/ESDDialPresses.h"
#include "StreamDeckSDK/ESDTextFrame.h"

class ESDBasePlugin;

class ESDConnectionManager {
 public:
  using Client = websocketpp::client<websocketpp::config::asio_client>;

  // Opens nothing. `plugin` is not owned, may be null, and learns of this object.
  ESDConnectionManager(int port, const std::string& pluginUUID, const std::string& registerEvent,
                       const std::string& info, ESDBasePlugin* plugin);
  ESDConnectionManager(const ESDConnectionManager&) = delete;
  ESDConnectionManager& operator=(const ESDConnectionManager&) = delete;

  // Connects, registers, and blocks until the connection has ended. Called once.
  void Run();

  // Null before Run.
  std::shared_ptr<asio::io_context> GetAsioContext() const { return mAsioContext; }

  // Sends a line to the application's log. An empty one isn't sent.
  void LogMessage(const std::string& message);

  // A negative `state` leaves the member "state" out.
  void SetTitle(const std::string& title, const std::string& context, int target, int state);
  // `image` is a PNG file's Base64 text, with or without the data URL's prefix. Empty: the default.
  void SetImage(const std::string& image, const std::string& context, int target, int state);
  void ShowAlertForContext(const std::string& context);
  void ShowOKForContext(const std::string& context);
  void SetSettings(const nlohmann::json& settings, const std::string& context);
  void SetState(int state, const std::string& context);
  void SetFeedback(const nlohmann::json& feedback, const std::string& context);
  void SetFeedbackLayout(const std::string& layout, const std::string& context);
  void SendToPropertyInspector(const std::string& action, const std::string& context,
                               const nlohmann::json& payload);
  // Nothing is sent for an empty device. An empty profile leaves "payload" out.
  void SwitchToProfile(const std::string& device, const std::string& profile);
  void GetGlobalSettings();
  void SetGlobalSettings(const nlohmann::json& settings);

 private:
  using Message = ESDTextFrame::Message;
  using Connection = Client::connection_type;

  void OnOpen(Client* client, websocketpp::connection_hdl handle);
  void OnFail(Client* client, websocketpp::connection_hdl handle);
  void OnClose(Client* client, websocketpp::connection_hdl handle);
  void OnMessage(websocketpp::connection_hdl handle, Message message);

  void Connect();
  void InstallHandlers();
  void Dispatch(const nlohmann::json& message);
  void OnEnd(const char* line, const std::string& reason);
  static void SendWithoutDelay(const std::shared_ptr<Connection>& connection);
  static std::shared_ptr<Connection> Find(Client* client,
                                          const websocketpp::connection_hdl& handle);
  void Send(const nlohmann::json& message);
  void SendText(std::string text);
  bool MaySend() const;

  int mPort;
  std::string mPluginUUID;
  std::string mRegisterEvent;
  websocketpp::connection_hdl mConnectionHandle;
  Client mWebsocket;
  ESDBasePlugin* mPlugin;  // not owned
  std::shared_ptr<asio::io_context> mAsioContext;

  // Until the registration is out, only the event loop's own thread may touch the WebSocket client:
  // that thread writes the handle, and the library opens the connection without a lock. A thread
  // that reads true sees all of that; before then its commands are lost, as without a connection.
  std::atomic<std::thread::id> mEventLoop{};  // none before Run
  std::atomic<bool> mIsRegistered{false};

  ESDTextFrame mFrames;
  ESDDialPresses mDialPresses;  // the event loop's
};
