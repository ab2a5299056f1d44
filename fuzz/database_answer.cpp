// The database's answer: receiving it, its status and its rows.
#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>

#include "fuzz/support/ScriptedPeer.h"
#include "fuzz/support/Surroundings.h"
#include "libcbase/Cstylecode.h"
#include "libcbase/DBManagerutil.h"
#include "libcbase/memory.h"
#include "libtavdb/db_request.h"
#include "simulator/database/DatabaseFormat.h"

namespace {

using fuzzing::Cuts;
using fuzzing::End;
using fuzzing::require;

struct Exchange {
    int result = 0;
    std::string first_line, status, body;
    std::size_t announced = 0;

    // Bytes after the announced length may be in the body or not.
    auto verdict() const {
        return std::make_tuple(result, first_line, status, body.substr(0, announced));
    }
};

std::string text_of(char* text) {
    const xstring owner(text);
    return text != nullptr ? text : "";
}

// The first line, the announced length before and in the body, and two receives.
constexpr std::size_t kMostTaken = 2 * (dbmanager_format::kBodyBytes + kReceiveChunkBytes);

Exchange exchange(std::string_view answer, Cuts cuts, End end) {
    const fuzzing::ScriptedPeer peer(answer, cuts, end);
    char *first_line = nullptr, *status = nullptr, *length = nullptr, *body = nullptr;
    Exchange seen;
    seen.result = dbmanager_socket_request(DBMANAGER_PORT, "DML-SQL", "SELECT", "8", "SELECT 1",
                                           &first_line, &status, &length, &body);
    seen.first_line = text_of(first_line);
    seen.status = text_of(status);
    seen.body = text_of(body);
    require(text_of(length) == (body != nullptr ? std::to_string(seen.body.size()) : ""),
            "the body has the reported length");
    if (body != nullptr) {
        seen.announced = std::stoul(seen.first_line.substr(seen.first_line.find(':') + 2));
    }
    require(seen.result >= 0, "the result is not negative");
    require(peer.taken() <= kMostTaken, "the received size is limited");
    return seen;
}

void check_format(std::string_view body) {
    using namespace dbmanager_format;
    const Response response = parse_response(body);
    // A label inside the status would be found before the real one.
    if (response.rows.empty() || response.status.find(": ") != std::string::npos) {
        return;
    }
    const std::string answer = simulator::compose_response(response);
    const Response reread = parse_response(std::string_view(answer).substr(answer.find('\n') + 1));
    require(reread.status == response.status && reread.columns == response.columns &&
                reread.rows == response.rows &&
                reread.last_inserted_id == response.last_inserted_id,
            "a parsed response can be composed and parsed again");
}

void check_rows(std::string_view answer, const Exchange& seen) {
    const fuzzing::ScriptedPeer peer(answer, Cuts::none, End::closes);
    const libtavdb::db_request request(DBMANAGER_PORT, "SELECT 1");
    require(std::string_view(request.get_last_error()).empty() == (seen.result == 0),
            "a failure sets the error text");
    const auto lines = std::count(seen.body.begin(), seen.body.end(), '\n') + 1;
    require(request.get_rows_num() <= lines, "every row is a line");
    int number = 0;
    for (const auto& [key, row] : request.rows) {
        require(key == ++number, "rows are numbered from 1");
        require(row.size() <= static_cast<std::size_t>(request.get_fields_num()),
                "every value has a column");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const End end = fuzzing::end_of(bytes);
    const Exchange whole = exchange(bytes, Cuts::none, end);
    require(whole.verdict() == exchange(bytes, Cuts::bytewise, end).verdict() &&
                whole.verdict() == exchange(bytes, Cuts::random, end).verdict(),
            "the result does not depend on how the input is split");
    if (end == End::closes) {
        check_rows(bytes, whole);
    }
    check_format(bytes);
    return 0;
}
