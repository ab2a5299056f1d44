#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>

#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"

namespace {

namespace fs = std::filesystem;

template <typename T, void (*Free)(T*)>
struct Freer {
    void operator()(T* object) const { Free(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509, X509_free>>;
using Context = std::unique_ptr<SSL_CTX, Freer<SSL_CTX, SSL_CTX_free>>;
using Connection = std::unique_ptr<SSL, Freer<SSL, SSL_free>>;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// A certificate of house.local and 127.0.0.1 that signs itself, its key, and another key.
class TlsTest : public SystemLogTest {
  protected:
    TlsTest() {
        signal(SIGPIPE, SIG_IGN);  // the TLS library writes to a peer that has given up
        char name[] = "/tmp/cstylecode_tls_XXXXXX";
        directory_ = mkdtemp(name);
        const Key key(EVP_EC_gen("P-256"));
        write_certificate(key.get());
        write_key(key.get(), key_path_ = directory_ / "key.pem");
        write_key(Key(EVP_EC_gen("P-256")).get(), other_key_path_ = directory_ / "other.pem");
        setenv("SSL_CERT_FILE", certificate_path_.c_str(), 1);
    }
    ~TlsTest() override {
        unsetenv("SSL_CERT_FILE");
        fs::remove_all(directory_);
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
        certificate_path_ = directory_ / "certificate.pem";
        PEM_write_X509(File(std::fopen(certificate_path_.c_str(), "w")).get(), x);
    }
    static void write_key(EVP_PKEY* key, const fs::path& path) {
        PEM_write_PrivateKey(File(std::fopen(path.c_str(), "w")).get(), key, nullptr, nullptr, 0,
                             nullptr, nullptr);
    }

    Context server_context(const fs::path& certificate, const fs::path& key) const {
        return Context(init_SSLsocket_server_context(certificate.c_str(), key.c_str()));
    }

    /// Shakes hands over a pair of sockets; true when the client is content and a text crosses.
    bool shakes_hands(const char* host) {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        FileDescriptor client_end(ends[0]);
        const FileDescriptor server_end(ends[1]);
        const Context server = server_context(certificate_path_, key_path_);
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

    fs::path directory_;
    fs::path certificate_path_;
    fs::path key_path_;
    fs::path other_key_path_;
};

TEST_F(TlsTest, TrustsOnlyTheHostThatWasAskedFor) {
    EXPECT_TRUE(shakes_hands("house.local"));
    EXPECT_TRUE(shakes_hands("127.0.0.1"));
    EXPECT_TRUE(shakes_hands(nullptr));
    EXPECT_TRUE(never_logged("Cstylecode->"));
    EXPECT_FALSE(shakes_hands("other.local"));
    EXPECT_FALSE(shakes_hands("127.0.0.2"));
    setenv("SSL_CERT_FILE", "/dev/null", 1);
    EXPECT_FALSE(shakes_hands("house.local"));
    EXPECT_EQ(lines_with("Cstylecode->connect_SSLsocket handshake failed with error "
                         "'certificate verify failed'"),
              3u);
}

TEST_F(TlsTest, ConnectsToAPort) {
    int port = 0;
    const FileDescriptor listener(make_internet_socket_randomport(&port, 1));
    const Context server = server_context(certificate_path_, key_path_);
    auto served = std::async(std::launch::async, [&] {
        const FileDescriptor peer(accept(listener.get(), nullptr, nullptr));
        return Connection(accept_SSLsocket(server.get(), peer.get())) != nullptr;
    });
    const Context client(init_SSLsocket_client_context());
    int fd = -1;
    const Connection connection(
        make_internettcpclient_SSLsocket(client.get(), "127.0.0.1", port, &fd));
    const FileDescriptor owner(fd);
    EXPECT_NE(connection, nullptr);
    EXPECT_TRUE(owner);
    EXPECT_TRUE(served.get());
}

TEST_F(TlsTest, SpeaksNoVersionBefore12) {
    const Context client(init_SSLsocket_client_context());
    EXPECT_EQ(SSL_CTX_get_min_proto_version(client.get()), TLS1_2_VERSION);
    EXPECT_EQ(SSL_CTX_get_verify_mode(client.get()), SSL_VERIFY_PEER);
}

TEST_F(TlsTest, NamesTheFileThatIsWrong) {
    const std::string start = "Cstylecode->init_SSLsocket_context ";
    const std::string certificate = certificate_path_;
    EXPECT_EQ(server_context(directory_ / "none", key_path_), nullptr);
    EXPECT_TRUE(
        logged(start + "certificate file at path <" + directory_.string() + "/none> is not valid"));
    EXPECT_EQ(server_context(certificate_path_, certificate_path_), nullptr);
    EXPECT_TRUE(logged(start + "private key at path <" + certificate + "> is not valid"));
    EXPECT_EQ(server_context(certificate_path_, other_key_path_), nullptr);
    EXPECT_TRUE(logged(start + "private key at path <" + other_key_path_.string() +
                       "> does not match the certificate at path <" + certificate + ">"));
}

TEST(Base64, FollowsTheVectorsOfRfc4648InOneLine) {
    const struct {
        const char* plain;
        const char* encoded;
    } cases[] = {{"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
                 {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& c : cases) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(c.plain);
        EXPECT_STREQ(xstring(base64_encode(bytes, std::string(c.plain).size())).get(), c.encoded);
    }
    const std::string zeroes(300, '\0');
    const xstring line(
        base64_encode(reinterpret_cast<const unsigned char*>(zeroes.data()), zeroes.size()));
    EXPECT_EQ(std::string(line.get()), std::string(400, 'A'));
    EXPECT_EQ(base64_encode(nullptr, 3), nullptr);
}

}  // namespace
