#pragma once

#include <array>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kelvora::testing {

/// A server on this computer that treats one connection after the other as a test wants. Ends with
/// its last connection: `serve` must return when the other side closes.
class LoopbackServer {
 public:
  class Connection {
   public:
    explicit Connection(int descriptor) : descriptor_(descriptor) {}
    ~Connection() { close(descriptor_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// The request up to its empty line.
    std::string request() const {
      std::string text;
      std::array<char, 1> byte;
      while (!text.ends_with("\r\n\r\n") && recv(descriptor_, byte.data(), 1, 0) == 1) {
        text += byte[0];
      }
      return text;
    }
    /// Whether all was sent; no once the other side has closed.
    bool send(std::string_view text) const {
      while (!text.empty()) {
        const ssize_t count = ::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL);
        if (count <= 0) {
          return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
      }
      return true;
    }
    /// Blocks until the other side closes.
    void waitForClose() const {
      std::array<char, 256> bytes;
      while (recv(descriptor_, bytes.data(), bytes.size(), 0) > 0) {
      }
    }

   private:
    int descriptor_;
  };
  using Serve = std::function<void(const Connection&)>;

  explicit LoopbackServer(Serve serve) : serve_(std::move(serve)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    if (listener_ < 0 || bind(listener_, address, size) != 0 || listen(listener_, 8) != 0 ||
        getsockname(listener_, address, &size) != 0) {
      throw std::runtime_error("no server on the loopback interface");
    }
    thread_ = std::thread([this] { run(); });
  }
  ~LoopbackServer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// E.g. "http://127.0.0.1:40123/".
  std::string address() const {
    return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)) + "/";
  }

 private:
  void run() {
    while (true) {
      const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (descriptor < 0) {
        return;
      }
      serve_(Connection(descriptor));
    }
  }

  const Serve serve_;
  const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address_ = {};
  std::thread thread_;
};

}  // namespace kelvora::testing
