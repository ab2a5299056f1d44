/// The service's side of the database protocol: reads requests and writes answers.
///
/// Pure functions; any thread may call. The grammar is in docs/formats/dbmanager.md; the client's
/// side is libcbase/DBManagerutil_format.h.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "libcbase/DBManagerutil_format.h"

namespace simulator {

/// Nothing when a line is missing or the statement does not have the announced length.
std::optional<dbmanager_format::Request> parse_request(std::string_view text);

/// The whole answer, its "Response payload length: " line included. Values are not escaped: one
/// that holds a comma or a newline arrives as several.
std::string compose_response(const dbmanager_format::Response& response);

}  // namespace simulator
