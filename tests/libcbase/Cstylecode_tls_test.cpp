#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"
#include "simulator/net/Connection.h"
#include "tests/support/SystemLogTest.h"

namespace {

struct Free {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* connection) const { SSL_free(connection); }
};
using namespace std::chrono_literals;
using Context = std::unique_ptr<SSL_CTX, Free>;
using Connection = std::unique_ptr<SSL, Free>;
using Clock = std::chrono::steady_clock;

// A self-signed certificate of house.local and 127.0.0.1 and its key, in one file.
constexpr const char* kHouse = LUMIVAD_TESTS_FOLDER "/libcbase/house.pem";

class TlsTest : public SystemLogTest {
  protected:
    TlsTest() {
        signal(SIGPIPE, SIG_IGN);  // the TLS library writes to a peer that has closed
        setenv("SSL_CERT_FILE", kHouse, 1);
    }
    ~TlsTest() override { unsetenv("SSL_CERT_FILE"); }

    void open_pair(int mode = 0) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | mode, 0, ends), 0);
        end_.reset(ends[0]);
        peer_.reset(ends[1]);
    }
    Context server() const { return Context(init_SSLsocket_server_context(kHouse, kHouse)); }
    /// True if the client accepts the certificate for `host` and reads a text.
    bool handshake_succeeds(const char* host, int mode = 0) {
        open_pair(mode);
        const Context context = server();
        auto accepted = std::async(std::launch::async, [&] {
            const Connection connection(accept_SSLsocket(context.get(), peer_.get()));
            return connection != nullptr && SSL_write(connection.get(), "hello", 5) == 5;
        });
        const Context client(init_SSLsocket_client_context());
        Connection connection(connect_SSLsocket(client.get(), end_.get(), host));
        const bool is_written = connection != nullptr && accepted.get();
        char text[6] = "";
        const bool is_read = is_written && SSL_read(connection.get(), text, 5) == 5;
        connection.reset();
        end_.reset();
        return is_read && std::string(text) == "hello";
    }

    FileDescriptor end_, peer_;
};

TEST_F(TlsTest, TrustsOnlyTheRequestedHost) {
    EXPECT_TRUE(handshake_succeeds("house.local"));
    EXPECT_TRUE(handshake_succeeds("127.0.0.1", SOCK_NONBLOCK));
    EXPECT_TRUE(never_logged("Cstylecode->"));
    EXPECT_FALSE(handshake_succeeds("other.local"));
    EXPECT_FALSE(handshake_succeeds("127.0.0.2"));
    setenv("SSL_CERT_FILE", "/dev/null", 1);
    EXPECT_FALSE(handshake_succeeds("house.local"));
    EXPECT_EQ(lines_with("Cstylecode->connect_SSLsocket handshake failed with error "
                         "'certificate verify failed'"),
              3u);
    const Context client(init_SSLsocket_client_context());
    EXPECT_EQ(SSL_CTX_get_min_proto_version(client.get()), TLS1_2_VERSION);
}

TEST_F(TlsTest, APeerThatDoesNotShakeHandsEndsAtTheLimitWithoutABusyLoop) {
    static std::atomic<int> steps;
    const Context client(init_SSLsocket_client_context());
    SSL_CTX_set_info_callback(client.get(), [](const SSL*, int, int) { ++steps; });
    // For each record: the client must read slower than the flood arrives.
    SSL_CTX_set_msg_callback(
        client.get(), [](int, int, int, const void*, std::size_t, SSL*, void*) { usleep(100); });
    // Silent, a record of 16000 bytes at 10 ms a byte, HelloRequests that the TLS library skips.
    std::string flood;
    while (flood.size() < 90000) {
        flood.append("\x16\x03\x03\x00\x04\x00\x00\x00\x00", 9);
    }
    const std::function<void(simulator::Connection&)> peers[] = {
        [](auto& peer) { peer.hold(); },
        [](auto& peer) { peer.write_slowly("\x16\x03\x03\x3e\x80" + std::string(995, 'x'), 10ms); },
        [&flood](auto& peer) {
            for (const auto end = Clock::now() + 5s; Clock::now() < end && peer.write(flood);) {
            }
        }};
    for (const int number : {0, 1, 2, 3}) {
        open_pair(number == 0 ? SOCK_NONBLOCK : 0);
        const int flags = fcntl(end_.get(), F_GETFL);
        const auto running = std::async(std::launch::async, [&] {
            simulator::Connection peer(std::move(peer_));
            peers[number % 3](peer);
        });
        steps = 0;
        const auto start = Clock::now();
        EXPECT_EQ(
            Connection(number == 3 ? accept_SSLsocket(server().get(), end_.get(), 500)
                                   : connect_SSLsocket(client.get(), end_.get(), nullptr, 500)),
            nullptr);
        EXPECT_GE(Clock::now() - start, 500ms);
        EXPECT_LT(Clock::now() - start, 2500ms);
        EXPECT_TRUE(steps < 500 || number == 2);
        EXPECT_EQ(fcntl(end_.get(), F_GETFL), flags);
        end_.reset();
    }
    EXPECT_EQ(lines_with("SSLsocket handshake failed with error"), 4u);
}

TEST_F(TlsTest, LogsTheFileThatAServerCannotUse) {
    const std::string other = LUMIVAD_TESTS_FOLDER "/libcbase/other_key.pem";
    EXPECT_EQ(init_SSLsocket_server_context("/missing", kHouse), nullptr);
    EXPECT_EQ(init_SSLsocket_server_context(kHouse, "/missing"), nullptr);
    EXPECT_EQ(init_SSLsocket_server_context(kHouse, other.c_str()), nullptr);
    const std::string prefix = "Cstylecode->init_SSLsocket_context ";
    EXPECT_TRUE(logged(prefix + "certificate file at path </missing> is not valid"));
    EXPECT_TRUE(logged(prefix + "private key at path </missing> is not valid"));
    EXPECT_TRUE(logged(prefix + "private key at path <" + other +
                       "> does not match the certificate at path <" + kHouse + ">"));
}

TEST_F(TlsTest, ReturnsADescriptorOnlyWithAConnection) {
    int port = 0;
    const FileDescriptor listener(make_internet_socket_randomport(&port, 1));
    const Context context = server();
    const Context client(init_SSLsocket_client_context());
    for (const bool peer_accepts : {true, false}) {
        auto accepted = std::async(std::launch::async, [&] {
            const FileDescriptor peer(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
            return Connection(peer_accepts ? accept_SSLsocket(context.get(), peer.get()) : nullptr);
        });
        int fd = 0;
        const Connection connection(
            make_internettcpclient_SSLsocket(client.get(), "127.0.0.1", port, &fd));
        const FileDescriptor owner(fd);
        EXPECT_EQ(connection != nullptr, peer_accepts);
        EXPECT_EQ(static_cast<bool>(owner), peer_accepts);
        EXPECT_EQ(accepted.get() != nullptr, peer_accepts);
    }
}

TEST(Base64, PadsAndWritesOneLine) {
    const std::string zeroes(300, '\0');
    for (const auto& [plain, encoded] : std::initializer_list<std::pair<std::string, std::string>>{
             {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {zeroes, std::string(400, 'A')}}) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(plain.data());
        EXPECT_EQ(xstring(base64_encode(bytes, plain.size())).get(), encoded);
    }
}

}  // namespace
