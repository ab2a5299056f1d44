#include "libcbase/FSMCoreutil.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include <sys/socket.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"

namespace {

using fsmcore_format::Form;
using fsmcore_format::Request;
using fsmcore_format::Response;

constexpr const char* kDefaultWaittime = "5";
// A value that compose_request refuses, in place of parameters that are announced but missing.
constexpr const char* kNotSendable = "\n";

// A null element is an empty value.
std::vector<std::string> texts_of(int count, const char* const* texts) {
    std::vector<std::string> copies;
    std::transform(texts, texts + count, std::back_inserter(copies), text_or_empty);
    return copies;
}

Request request_of(const char* function, int param_count, const char* const* params,
                   const char* waittime) {
    Request request{
        text_or_empty(function), {kNotSendable}, waittime != nullptr ? waittime : kDefaultWaittime};
    if (param_count == 0 || (param_count > 0 && params != nullptr)) {
        request.parameters = texts_of(param_count, params);
    }
    return request;
}

// The parameters as an array of heap strings; null without parameters or when memory is out.
char** new_string_array(const std::vector<std::string>& texts) {
    if (texts.empty()) {
        return nullptr;
    }
    auto** const array = static_cast<char**>(xmalloc(texts.size() * sizeof(char*)));
    for (std::size_t i = 0; array != nullptr && i < texts.size(); ++i) {
        array[i] = texts[i].empty() ? nullptr : xstrcpy(nullptr, texts[i].c_str());
    }
    return array;
}

int request_core(const char* socket_path, Form form, const Request& request, int* out_count,
                 char*** out_params) {
    Response response;
    const int result = fsmcore_call(socket_path, form, request, response);
    if (out_count != nullptr && out_params != nullptr) {
        *out_params = new_string_array(response.parameters);
        *out_count = *out_params != nullptr ? static_cast<int>(response.parameters.size()) : 0;
    }
    return result;
}

// Sends the answer in one call that never waits: it is small, and a peer that leaves no room for it
// does not read. False with errno.
bool send_response(int socket, const std::optional<std::string>& text) {
    if (!text) {
        errno = EINVAL;
        return false;
    }
    if (text->size() > fsmcore_format::kBufferBytes) {
        errno = EMSGSIZE;
        return false;
    }
    const ssize_t sent = send(socket, text->data(), text->size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0 && static_cast<std::size_t>(sent) < text->size()) {
        errno = EAGAIN;
        return false;
    }
    return sent >= 0;
}

}  // namespace

int fsmcore_request(const char* socket_path, const char* function, int param_count,
                    const char* const* params, int* out_count, char*** out_params,
                    const char* waittime) {
    return request_core(socket_path, Form::plain,
                        request_of(function, param_count, params, waittime), out_count, out_params);
}

int fsmcore_request_lengthmgm(const char* socket_path, const char* function, int param_count,
                              const char* const* params, int* out_count, char*** out_params,
                              const char* waittime) {
    return request_core(socket_path, Form::length_managed,
                        request_of(function, param_count, params, waittime), out_count, out_params);
}

int fsmcore_response(int socket, int status, int param_count, const char* const* params) {
    Response response{status, {}};
    if (params != nullptr && param_count > 0) {
        response.parameters = texts_of(param_count, params);
    }
    if (send_response(socket, compose_response(response))) {
        return FSMCORE_OK;
    }
    error("FSMCoreutil->fsmcore_response send writing response failed with error '%s'",
          strerror(errno));
    const FileDescriptor closed_with_this_call(socket);
    return FSMCORE_SEND_FAILED;
}
