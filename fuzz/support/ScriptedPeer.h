/// The peer of every socket that the program connects: delivers the bytes of a script, split as TCP
/// may split them, and accepts everything that is sent.
///
/// Replaces connect, poll, send, sendto, recv and, while an object exists, read. One object at a
/// time.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "fuzz/support/Surroundings.h"

namespace fuzzing {

/// The most that one receive delivers: all that fits, one byte, or a number that depends only on
/// the script, so that an input always behaves the same.
enum class Cuts { none, bytewise, random };
/// What follows the script: the end of the connection, silence, or its last bytes for ever.
enum class End { closes, stalls, repeats };

/// An end that depends only on the script's size, mostly that of the connection.
End end_of(std::string_view script);

class ScriptedPeer final {
  public:
    /// `script` must outlive the object.
    ScriptedPeer(std::string_view script, Cuts cuts, End end);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// Number of bytes that the program has received.
    std::size_t taken() const { return taken_; }
    /// What the program has sent.
    const std::string& sent() const { return sent_; }

    void record_sent(std::string_view bytes) { sent_ += bytes; }
    /// Like recv: -1 with EAGAIN while it is silent.
    ssize_t deliver(char* buffer, std::size_t size);
    bool is_silent() const { return end_ == End::stalls && taken_ >= script_.size(); }

  private:
    char byte_at(std::size_t position) const;
    std::size_t next_cut();

    std::string_view script_;
    Cuts cuts_;
    End end_;
    std::size_t taken_ = 0;
    std::string sent_;
    std::minstd_rand random_;
};

/// The result of `run` for the script with every way of splitting it, which must be one and the
/// same. `run` takes the peer of its connection.
template <typename Run>
auto with_all_cuts(std::string_view script, End end, Run run) {
    const auto result_with = [&](Cuts cuts) {
        const ScriptedPeer peer(script, cuts, end);
        return run(peer);
    };
    auto whole = result_with(Cuts::none);
    require(whole == result_with(Cuts::bytewise) && whole == result_with(Cuts::random),
            "the result does not depend on how the input is split");
    return whole;
}

}  // namespace fuzzing
