#include "libcbase/Cstylecode.h"

// TLS and base64 are separate from the rest of Cstylecode.h: a program that calls neither does not
// load libssl and libcrypto.
#include <chrono>
#include <climits>
#include <memory>

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>

#include "libcbase/memory.h"

namespace {

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
struct FreeConnection {
    void operator()(SSL* connection) const { SSL_free(connection); }
};
using Context = std::unique_ptr<SSL_CTX, FreeContext>;
using Connection = std::unique_ptr<SSL, FreeConnection>;

// The oldest error of the TLS library; the rest of its queue is dropped.
const char* reason() {
    const char* const text = ERR_reason_error_string(ERR_get_error());
    ERR_clear_error();
    return text != nullptr ? text : "no answer of the peer's";
}

Context new_context(const SSL_METHOD* method) {
    Context context(SSL_CTX_new(method));
    if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) {
        error("Cstylecode->init_SSLsocket_context error creating new context");
        ERR_clear_error();
        return nullptr;
    }
    return context;
}

// Makes the descriptor non-blocking while it lives. In a blocking read, a peer that sends byte by
// byte could hold the TLS library beyond the limit.
class NonBlocking final {
  public:
    explicit NonBlocking(int fd) : fd_(fd), flags_(fcntl(fd, F_GETFL)) {
        fcntl(fd_, F_SETFL, flags_ | O_NONBLOCK);
    }
    ~NonBlocking() { fcntl(fd_, F_SETFL, flags_); }
    NonBlocking(const NonBlocking&) = delete;
    NonBlocking& operator=(const NonBlocking&) = delete;

  private:
    int fd_;
    int flags_;
};

// Refuses each read of a connection after its deadline. The TLS library skips some records by
// itself: a peer that sends them without a pause would keep it reading without an end.
long refuse_late_read(BIO* bio, int operation, const char*, std::size_t, int, long, int result,
                      std::size_t*) {
    const auto* const deadline =
        reinterpret_cast<const std::chrono::steady_clock::time_point*>(BIO_get_callback_arg(bio));
    const bool is_late = operation == BIO_CB_READ && std::chrono::steady_clock::now() >= *deadline;
    return is_late ? -1 : result;
}

class ReadDeadline final {
  public:
    ReadDeadline(BIO* bio, std::chrono::steady_clock::time_point& deadline) : bio_(bio) {
        BIO_set_callback_arg(bio_, reinterpret_cast<char*>(&deadline));
        BIO_set_callback_ex(bio_, refuse_late_read);
    }
    ~ReadDeadline() { BIO_set_callback_ex(bio_, nullptr); }
    ReadDeadline(const ReadDeadline&) = delete;
    ReadDeadline& operator=(const ReadDeadline&) = delete;

  private:
    BIO* bio_;
};

// Runs `step` (SSL_connect or SSL_accept) to its end.
bool shake_hands(SSL* connection, int fd, int (*step)(SSL*), int milliseconds) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    const NonBlocking mode(fd);
    const ReadDeadline reads(SSL_get_rbio(connection), deadline);
    while (true) {
        ERR_clear_error();
        const int result = step(connection);
        if (result == 1) {
            return true;
        }
        const int cause = SSL_get_error(connection, result);
        if ((cause != SSL_ERROR_WANT_READ && cause != SSL_ERROR_WANT_WRITE) ||
            !wait_until_ready(fd, cause == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT, deadline)) {
            return false;
        }
    }
}

// Requests `host`, a name or an address, and requires a certificate for it.
bool expect_host(SSL* connection, const char* host) {
    in_addr address{};
    if (inet_pton(AF_INET, host, &address) == 1) {
        return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(connection), host) == 1;
    }
    return SSL_set_tlsext_host_name(connection, host) == 1 && SSL_set1_host(connection, host) == 1;
}

}  // namespace

char* base64_encode(const unsigned char* bytes, std::size_t n) {
    // The encoder counts its output in an int.
    constexpr std::size_t kMostBytes = static_cast<std::size_t>(INT_MAX) / 4 * 3 - 3;
    if (bytes == nullptr || n > kMostBytes) {
        return nullptr;
    }
    auto* const text = static_cast<unsigned char*>(xmalloc((n + 2) / 3 * 4 + 1));
    if (text != nullptr) {
        EVP_EncodeBlock(text, bytes, static_cast<int>(n));
    }
    return reinterpret_cast<char*>(text);
}

SSL_CTX* init_SSLsocket_client_context() {
    Context context = new_context(TLS_client_method());
    if (context == nullptr) {
        return nullptr;
    }
    if (SSL_CTX_set_default_verify_paths(context.get()) != 1) {
        error("Cstylecode->init_SSLsocket_context error creating new context");
        ERR_clear_error();
        return nullptr;
    }
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    return context.release();
}

SSL_CTX* init_SSLsocket_server_context(const char* certificate_path, const char* key_path) {
    Context context = new_context(TLS_server_method());
    if (context == nullptr) {
        return nullptr;
    }
    SSL_CTX* const raw = context.get();
    if (SSL_CTX_use_certificate_chain_file(raw, certificate_path) != 1) {
        error("Cstylecode->init_SSLsocket_context certificate file at path <%s> is not valid",
              certificate_path);
    } else if (const int used = SSL_CTX_use_PrivateKey_file(raw, key_path, SSL_FILETYPE_PEM);
               used != 1 && ERR_GET_REASON(ERR_peek_last_error()) != X509_R_KEY_VALUES_MISMATCH) {
        error("Cstylecode->init_SSLsocket_context private key at path <%s> is not valid", key_path);
    } else if (used != 1 || SSL_CTX_check_private_key(raw) != 1) {
        error(
            "Cstylecode->init_SSLsocket_context private key at path <%s> does not match the "
            "certificate at path <%s>",
            key_path, certificate_path);
    } else {
        return context.release();
    }
    ERR_clear_error();
    return nullptr;
}

SSL* connect_SSLsocket(SSL_CTX* context, int fd, const char* host, int milliseconds) {
    Connection connection(SSL_new(context));
    if (connection == nullptr || SSL_set_fd(connection.get(), fd) != 1 ||
        (host != nullptr && !expect_host(connection.get(), host)) ||
        !shake_hands(connection.get(), fd, SSL_connect, milliseconds)) {
        error("Cstylecode->connect_SSLsocket handshake failed with error '%s'", reason());
        return nullptr;
    }
    return connection.release();
}

SSL* make_internettcpclient_SSLsocket(SSL_CTX* context, const char* ip, int port, int* fd) {
    *fd = -1;
    FileDescriptor connected(make_internettcpclient_socket(ip, port));
    if (!connected) {
        return nullptr;
    }
    SSL* const connection = connect_SSLsocket(context, connected.get(), ip);
    if (connection != nullptr) {
        *fd = connected.release();
    }
    return connection;
}

SSL* accept_SSLsocket(SSL_CTX* context, int fd, int milliseconds) {
    Connection connection(SSL_new(context));
    if (connection == nullptr || SSL_set_fd(connection.get(), fd) != 1 ||
        !shake_hands(connection.get(), fd, SSL_accept, milliseconds)) {
        error("Cstylecode->accept_SSLsocket handshake failed with error '%s'", reason());
        return nullptr;
    }
    return connection.release();
}
