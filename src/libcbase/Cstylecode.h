/// Sockets, TLS connections and the host's network identity; log.h and FileDescriptor.h come with
/// it.
///
/// Any thread may call. Sockets: each creator returns a close-on-exec descriptor that the caller
/// owns (put it into a FileDescriptor), or -1 after one line in the log at error level, with errno
/// kept.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "libcbase/FileDescriptor.h"
#include "libcbase/log.h"

/// @name Sockets
/// A client socket that is not connected after `milliseconds` fails with ETIMEDOUT, however many
/// signals arrive. It keeps that limit on each later send and receive (SO_SNDTIMEO, SO_RCVTIMEO).
/// @{

/// Connected IPv4 stream socket; `ip` is a dotted address.
int make_internettcpclient_socket(const char* ip, int port, int milliseconds = 10000);
/// Connected UNIX stream socket; a path longer than the address holds is refused (ENAMETOOLONG).
int make_localtcpclient_socket(const char* path, int milliseconds = 10000);
/// Listening UNIX stream socket of mode 0777; a file at `path` is removed first.
int make_local_socket(const char* path, int backlog);
/// Listening IPv4 stream socket on every address of the host.
int make_internet_socket(int port, int backlog);
/// The same on a port that the system chooses, stored in `*port` (1..65535).
int make_internet_socket_randomport(int* port, int backlog);

/// Waits until `fd` is ready for `events` (of poll), or has an error or a hang-up, which the next
/// call on it reports. False with errno: ETIMEDOUT once `deadline` has passed, even if the
/// descriptor is ready by then (a peer that sends byte by byte must not extend the deadline).
bool wait_until_ready(int fd, short events, std::chrono::steady_clock::time_point deadline);
/// Bytes that one receive takes.
constexpr std::size_t kReceiveChunkBytes = 1024;
/// The reason that is logged for a peer that has closed; errno has none.
constexpr const char* kClosedByPeer = "connection closed by the peer";
/// Sends the whole of `text`. False with errno, ETIMEDOUT at the deadline.
bool send_until(int fd, std::string_view text, std::chrono::steady_clock::time_point deadline);
/// Appends one receive of at most kReceiveChunkBytes to `text`. The number of bytes, 0 when the
/// peer has closed, -1 with errno, ETIMEDOUT at the deadline.
ssize_t receive_until(int fd, std::string& text, std::chrono::steady_clock::time_point deadline);

/// Limits every blocked send and receive on `fd`; false with errno when the system refuses.
bool set_socket_timeouts(int fd, int milliseconds);
/// @}

/// @name Network identity: the interface eth0
/// `*out` receives a heap string (the answer, or the message of a failure); caller frees with
/// xfree.
/// @{

/// Dotted IPv4 address. 0, or -1 with "No IP: ..." in `*out`.
int getlocalip(char** out);
/// Six upper-case hex bytes separated by ':', 17 characters. 0, or -1 with "No MAC: ..." in `*out`.
int getlocalmac(char** out);
/// The hardware address as six bytes. 0 or -1.
int getlocalrawmac(unsigned char out[6]);
/// @}

/// 2n upper-case hex digits; n = 0 is treated as 1; null for null bytes. Caller frees with xfree.
char* convert_bytearraytohexstring(std::size_t n, const unsigned char* bytes);
/// Base64 (RFC 4648) of n bytes in one line without breaks; null on failure. Caller frees with
/// xfree.
char* base64_encode(const unsigned char* bytes, std::size_t n);
/// "0.0.15" as a heap string; caller frees with xfree.
char* libcbase_get_version();

/// @name TLS: TLS 1.2 and above; the daemon itself does not use it
/// Contexts and connections belong to the caller (SSL_CTX_free, SSL_free); null on failure, logged.
/// A handshake that has not ended after `milliseconds` fails, whatever the peer sends. During it
/// the descriptor is non-blocking; afterwards its mode is as before.
/// A write to a connection that the peer has closed raises SIGPIPE, in the handshake too: ignore or
/// handle the signal.
/// @{

/// Of OpenSSL: SSL_CTX and SSL.
struct ssl_ctx_st;
struct ssl_st;

/// Client context that verifies peers against the system's certificate store.
ssl_ctx_st* init_SSLsocket_client_context();
/// Server context with the PEM certificate chain and key at the two paths.
ssl_ctx_st* init_SSLsocket_server_context(const char* certificate_path, const char* key_path);
/// Client handshake on a connected descriptor, which stays the caller's; `host` (may be null) is
/// the name asked for and verified.
ssl_st* connect_SSLsocket(ssl_ctx_st* context, int fd, const char* host, int milliseconds = 10000);
/// Connects to `ip` and `port` and shakes hands; `*fd` receives the descriptor, owned by the
/// caller.
ssl_st* make_internettcpclient_SSLsocket(ssl_ctx_st* context, const char* ip, int port, int* fd);
/// Server handshake on an accepted descriptor, which stays the caller's.
ssl_st* accept_SSLsocket(ssl_ctx_st* context, int fd, int milliseconds = 10000);
/// @}
