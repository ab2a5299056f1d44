#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"

namespace {

template <typename T, void (*Free)(T*)>
struct Freer {
    void operator()(T* object) const { Free(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509, X509_free>>;
using Context = std::unique_ptr<SSL_CTX, Freer<SSL_CTX, SSL_CTX_free>>;
using Connection = std::unique_ptr<SSL, Freer<SSL, SSL_free>>;

/// A self-signed certificate of house.local and 127.0.0.1 and its key, in one file.
class TlsTest : public SystemLogTest {
  protected:
    TlsTest() {
        signal(SIGPIPE, SIG_IGN);  // the TLS library writes to a peer that has closed
        const Key key(EVP_EC_gen("P-256"));
        write_certificate(key.get());
        setenv("SSL_CERT_FILE", kPath, 1);
    }
    ~TlsTest() override {
        unsetenv("SSL_CERT_FILE");
        std::remove(kPath);
    }

    void write_certificate(EVP_PKEY* key) {
        const Certificate certificate(X509_new());
        X509* const x = certificate.get();
        X509_set_version(x, 2);
        X509_gmtime_adj(X509_getm_notBefore(x), -3600);
        X509_gmtime_adj(X509_getm_notAfter(x), 3600);
        X509_set_pubkey(x, key);
        X509_NAME* const subject = X509_get_subject_name(x);
        X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("house"), -1, -1, 0);
        X509_set_issuer_name(x, subject);
        X509_EXTENSION* const names = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name,
                                                          "DNS:house.local,IP:127.0.0.1");
        X509_add_ext(x, names, -1);
        X509_EXTENSION_free(names);
        ASSERT_GT(X509_sign(x, key, EVP_sha256()), 0);
        std::FILE* const file = std::fopen(kPath, "w");
        PEM_write_X509(file, x);
        PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr);
        std::fclose(file);
    }

    /// Shakes hands over a pair of sockets; true when the client accepts and reads a text.
    bool handshake_succeeds(const char* host) {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        FileDescriptor client_end(ends[0]);
        const FileDescriptor server_end(ends[1]);
        const Context server(init_SSLsocket_server_context(kPath, kPath));
        const Context client(init_SSLsocket_client_context());
        auto accepted = std::async(std::launch::async, [&] {
            const Connection connection(accept_SSLsocket(server.get(), server_end.get()));
            return connection != nullptr && SSL_write(connection.get(), "hello", 5) == 5;
        });
        bool is_read = false;
        {
            const Connection connection(connect_SSLsocket(client.get(), client_end.get(), host));
            char text[8] = "";
            is_read = connection != nullptr && SSL_read(connection.get(), text, 5) == 5 &&
                      std::string(text) == "hello";
        }
        client_end.reset();
        return accepted.get() && is_read;
    }

    static constexpr const char* kPath = "/tmp/vexa_variables/cstylecode_tls_test.pem";
};

TEST_F(TlsTest, TrustsOnlyTheRequestedHost) {
    EXPECT_TRUE(handshake_succeeds("house.local"));
    EXPECT_TRUE(handshake_succeeds("127.0.0.1"));
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

TEST_F(TlsTest, ASilentOrSlowPeerEndsAtTheLimitWithoutABusyLoop) {
    constexpr int kLimit = 500;
    static std::atomic<int> steps;
    const Context contexts[] = {Context(init_SSLsocket_server_context(kPath, kPath)),
                                Context(init_SSLsocket_client_context())};
    for (const Context& context : contexts) {
        SSL_CTX_set_info_callback(context.get(), [](const SSL*, int, int) { ++steps; });
    }
    for (const int mode : {0, static_cast<int>(SOCK_NONBLOCK)}) {
        for (const bool is_slow : {false, true}) {
            int ends[2];
            ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | mode, 0, ends), 0);
            const FileDescriptor end(ends[0]);
            const FileDescriptor peer(ends[1]);
            const int flags = fcntl(end.get(), F_GETFL);
            std::atomic<bool> is_over{false};
            auto sender = std::async(std::launch::async, [&] {
                // The start of a record of 16000 bytes, then its body, for 12 s at most.
                const std::string record = "\x16\x03\x03\x3e\x80" + std::string(1200, '\0');
                for (std::size_t i = 0; is_slow && !is_over && i < record.size(); ++i) {
                    send(peer.get(), &record[i], 1, MSG_NOSIGNAL);
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));
                }
            });
            steps = 0;
            const auto start = std::chrono::steady_clock::now();
            const Connection connection(
                is_slow ? accept_SSLsocket(contexts[0].get(), end.get(), kLimit)
                        : connect_SSLsocket(contexts[1].get(), end.get(), nullptr, kLimit));
            const auto taken = std::chrono::steady_clock::now() - start;
            is_over = true;
            EXPECT_EQ(connection, nullptr);
            EXPECT_GE(taken, std::chrono::milliseconds(kLimit));
            EXPECT_LT(taken, std::chrono::milliseconds(kLimit + 2000));
            EXPECT_LT(steps, 500);
            EXPECT_EQ(fcntl(end.get(), F_GETFL), flags);
        }
    }
    EXPECT_EQ(lines_with("SSLsocket handshake failed with error"), 4u);
}

TEST_F(TlsTest, AFloodOfRecordsThatTheLibrarySkipsEndsAtTheLimit) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    FileDescriptor end(ends[0]);
    const FileDescriptor peer(ends[1]);
    auto sender = std::async(std::launch::async, [&] {
        char hello[4096];
        recv(peer.get(), hello, sizeof(hello), 0);
        std::string flood;
        for (int i = 0; i < 10000; ++i) {
            flood.append("\x16\x03\x03\x00\x04\x00\x00\x00\x00", 9);  // a HelloRequest
        }
        // Whole records only, until the client closes, for 10 s at most.
        const auto stop = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < stop && send_until(peer.get(), flood, stop)) {
        }
    });
    const Context client(init_SSLsocket_client_context());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Connection(connect_SSLsocket(client.get(), end.get(), nullptr, 500)), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    end.reset();
}

TEST_F(TlsTest, CompletesAHandshakeOnNonBlockingDescriptors) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    const FileDescriptor client_end(ends[0]);
    const FileDescriptor server_end(ends[1]);
    const Context server(init_SSLsocket_server_context(kPath, kPath));
    const Context client(init_SSLsocket_client_context());
    auto accepted = std::async(std::launch::async, [&] {
        return Connection(accept_SSLsocket(server.get(), server_end.get()));
    });
    EXPECT_NE(Connection(connect_SSLsocket(client.get(), client_end.get(), "house.local")),
              nullptr);
    EXPECT_NE(accepted.get(), nullptr);
}

TEST_F(TlsTest, LogsTheFileThatAServerCannotUse) {
    const std::string missing = std::string(kPath) + ".none";
    const std::string other = std::string(kPath) + ".other";
    const Key other_key(EVP_EC_gen("P-256"));
    std::FILE* const file = std::fopen(other.c_str(), "w");
    PEM_write_PrivateKey(file, other_key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    std::fclose(file);
    EXPECT_EQ(init_SSLsocket_server_context(missing.c_str(), kPath), nullptr);
    EXPECT_EQ(init_SSLsocket_server_context(kPath, missing.c_str()), nullptr);
    EXPECT_EQ(init_SSLsocket_server_context(kPath, other.c_str()), nullptr);
    const std::string prefix = "Cstylecode->init_SSLsocket_context ";
    EXPECT_TRUE(logged(prefix + "certificate file at path <" + missing + "> is not valid"));
    EXPECT_TRUE(logged(prefix + "private key at path <" + missing + "> is not valid"));
    EXPECT_TRUE(logged(prefix + "private key at path <" + other +
                       "> does not match the certificate at path <" + kPath + ">"));
    std::remove(other.c_str());
}

TEST_F(TlsTest, ReturnsADescriptorOnlyWithAConnection) {
    int port = 0;
    const FileDescriptor listener(make_internet_socket_randomport(&port, 1));
    const Context server(init_SSLsocket_server_context(kPath, kPath));
    const Context client(init_SSLsocket_client_context());
    for (const bool peer_accepts : {true, false}) {
        auto accepted = std::async(std::launch::async, [&] {
            const FileDescriptor peer(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
            return Connection(peer_accepts ? accept_SSLsocket(server.get(), peer.get()) : nullptr);
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
