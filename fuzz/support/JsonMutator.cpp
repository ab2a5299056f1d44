// Mutates the inputs of a bridge: bytes, or whole values of the JSON in one of the parts. The JSON
// library is not instrumented, so changes of bytes would seldom give another well-formed answer.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <json/writer.h>

#include "fuzz/support/ScriptedBridge.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

using Random = std::minstd_rand;

// One value of each type, and of each range of numbers.
constexpr const char* kValues[] = {"null",
                                   "true",
                                   "false",
                                   "0",
                                   "-1",
                                   "1.5",
                                   "254",
                                   "65535",
                                   "65536",
                                   "1e300",
                                   "4294967296",
                                   "18446744073709551615",
                                   "[]",
                                   "{}",
                                   "\"\"",
                                   "\"text\"",
                                   "[0.3,0.25]",
                                   "[1e300,-1e300]",
                                   "[[{}],null]",
                                   "\"a\\u0000b\"",
                                   "{\"state\":{}}",
                                   "{\"success\":{}}"};

// Every value in `root`, including itself.
void collect(Json::Value& root, std::vector<Json::Value*>& found) {
    found.push_back(&root);
    if (root.isObject() || root.isArray()) {
        for (Json::Value& each : root) {
            collect(each, found);
        }
    }
}

Json::Value& one_of(Json::Value& root, Random& random) {
    std::vector<Json::Value*> all;
    collect(root, all);
    return *all[random() % all.size()];
}

void change(Json::Value& root, Random& random) {
    Json::Value& target = one_of(root, random);
    Json::Value value;
    switch (random() % 4) {
        case 0:
            value = one_of(root, random);  // a copy: it may hold the target
            target.swap(value);
            break;
        case 1:
            if (target.isObject() && !target.empty()) {
                const std::vector<std::string> names = target.getMemberNames();
                target.removeMember(names[random() % names.size()]);
            }
            break;
        default:
            JsonAccess::parse(kValues[random() % std::size(kValues)], value);
            target.swap(value);
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
    Random random(seed);
    std::vector<std::string> parts = fuzzing::parts_of(data, size);
    std::string& part = parts[random() % parts.size()];
    Json::Value root;
    if (random() % 2 == 0 || !JsonAccess::parse(part, root)) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    change(root, random);
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    part = Json::writeString(writer, root);
    std::string text = parts[0];
    for (std::size_t i = 1; i < parts.size(); ++i) {
        text += "\n--\n" + parts[i];
    }
    if (text.size() > max_size) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    std::copy(text.begin(), text.end(), data);
    return text.size();
}
