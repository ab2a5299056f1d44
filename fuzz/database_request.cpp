// The request to the database, as the service reads it.
#include <string_view>

#include "fuzz/support/Surroundings.h"
#include "libcbase/DBManagerutil.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto request = dbmanager_format::parse_request(text)) {
        fuzzing::require(request->statement.size() <= size, "the statement came with the text");
        const auto reread = dbmanager_format::parse_request(compose_request(*request));
        fuzzing::require(reread && reread->statement == request->statement,
                         "what was written reads the same");
    }
    return 0;
}
