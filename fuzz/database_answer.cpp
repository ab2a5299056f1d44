// The database's answer: receiving it, its status and its rows.
#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>

#include "fuzz/support/ScriptedPeer.h"
#include "libcbase/Cstylecode.h"
#include "libcbase/DBManagerutil.h"
#include "libtavdb/db_request.h"
#include "simulator/database/DatabaseFormat.h"

namespace {

using fuzzing::require;
using fuzzing::ScriptedPeer;
using namespace dbmanager_format;

// The first line, the announced length before and in the body, and two receives.
constexpr std::size_t kMostTaken = 2 * (kBodyBytes + kReceiveChunkBytes);

auto exchange(const ScriptedPeer& peer) {
    dbmanager_answer answer;
    const int result =
        dbmanager_exchange(DBMANAGER_PORT, {"DML-SQL", "SELECT", "8", "SELECT 1"}, answer);
    require(result >= 0, "the result is not negative");
    require(peer.taken() <= kMostTaken, "the received size is limited");
    // Bytes after the announced length may be in the body or not.
    answer.body.resize(
        std::min(answer.body.size(), parse_length_line(answer.first_line).value_or(0)));
    return std::tuple(result, answer.first_line, answer.status, answer.body);
}

void check_format(std::string_view body) {
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

void check_rows(std::string_view answer, int result) {
    const ScriptedPeer peer(answer, fuzzing::Cuts::none, fuzzing::End::closes);
    const libtavdb::db_request request(DBMANAGER_PORT, "SELECT 1");
    require(std::string_view(request.get_last_error()).empty() == (result == 0),
            "a failure sets the error text");
    require(request.get_rows_num() <= std::count(answer.begin(), answer.end(), '\n') + 1,
            "every row is a line");
    int number = 0;
    for (const auto& [key, row] : request.rows) {
        require(key == ++number, "rows are numbered from 1");
        require(row.size() <= static_cast<std::size_t>(request.get_fields_num()),
                "every value has a column");
    }
}

}  // namespace

void fuzzing::check_input(std::string_view input) {
    const End end = end_of(input);
    const auto answer = with_all_cuts(input, end, exchange);
    if (end == End::closes) {
        check_rows(input, std::get<int>(answer));
    }
    check_format(input);
}
