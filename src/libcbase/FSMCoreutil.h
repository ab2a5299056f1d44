/// The calls that speak FSMCore's message format: the client's, and the answer of a server.
///
/// Stateless; any thread may call. The format is in FSMCoreutil_format.h.
#pragma once

#include <string>

#include "libcbase/FSMCoreutil_format.h"

/// The UNIX socket on which the core takes requests.
constexpr const char* FSMCORE_SOCKET = "/tmp/vexa_variables/sockets/vexa_fsmcore.socket";

/// The function that runs one element of the core's state machine, in both directions.
constexpr const char* FSMCORE_RUN_ON_ELEMENT = "SERVICE_RUNONELEMENT";

/// Local results of the client calls; any other value is the status number of the core's answer.
enum fsmcore_result {
    FSMCORE_OK = 0,
    FSMCORE_CONNECT_FAILED = 6,
    FSMCORE_SEND_FAILED = 7,
    FSMCORE_RECEIVE_FAILED = 8,
};

/// Sends `request` to the UNIX socket at `socket_path` and reads the answer. Returns the answer's
/// status number or an fsmcore_result; unless the answer is well formed, `response` is empty.
///
/// `request.waittime`: seconds as text; it bounds the whole call (5 s when it is not 1..3600). A
/// plain answer must arrive in one receive of at most 1024 bytes; it ends at its first NUL, if it
/// has one. A length-managed one has at most 262144 bytes. A plain request of more than 1024 bytes,
/// and one that compose_request refuses, is FSMCORE_SEND_FAILED before anything is sent. Every
/// failure is logged.
int fsmcore_call(const char* socket_path, fsmcore_format::Form form,
                 const fsmcore_format::Request& request, fsmcore_format::Response& response);

/// fsmcore_call in C style, in the plain and in the length-managed form.
///
/// `params`: `param_count` strings without newlines; a null one counts as empty.
/// `waittime`: "5" for null.
/// `out_count`, `out_params` (both or neither): the answer's parameters; caller frees each and the
/// array with xfree; an empty parameter is a null slot. 0 and null unless the answer was well
/// formed, whatever its status.
int fsmcore_request(const char* socket_path, const char* function, int param_count,
                    const char* const* params, int* out_count, char*** out_params,
                    const char* waittime);
int fsmcore_request_lengthmgm(const char* socket_path, const char* function, int param_count,
                              const char* const* params, int* out_count, char*** out_params,
                              const char* waittime);
/// Answers a request on a connected socket, which stays open. A null `params` means no parameters,
/// whatever the count. FSMCORE_OK, or FSMCORE_SEND_FAILED (logged, also for an answer of more than
/// 1024 bytes) with the socket closed.
int fsmcore_response(int socket, int status, int param_count, const char* const* params);
