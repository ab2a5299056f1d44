// The request to the database, as the simulated service parses it.
#include <string>
#include <string_view>

#include "fuzz/support/Surroundings.h"
#include "simulator/database/DatabaseFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto request = simulator::parse_request(text)) {
        const std::string end = request->statement + "\n\n";
        fuzzing::require(size >= end.size() && text.substr(size - end.size()) == end,
                         "nothing follows the statement");
        const auto reread = simulator::parse_request(compose_request(*request));
        fuzzing::require(reread && reread->statement == request->statement,
                         "a composed request parses to the same");
    }
    return 0;
}
