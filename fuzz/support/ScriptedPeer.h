/// The peer of every socket that the program connects: delivers the bytes of a script, split as TCP
/// may split them, and accepts everything that is sent.
///
/// Replaces connect, poll, send, sendto, recv and read (of a connected socket) while an object
/// exists. One object at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace fuzzing {

/// The most that one receive delivers: all that fits, one byte, or a number that depends only on
/// the script, so that an input always behaves the same.
enum class Cuts { none, bytewise, random };
/// What follows the script: the end of the connection, silence, or its last bytes for ever.
enum class End { closes, stalls, repeats };

constexpr Cuts kAllCuts[] = {Cuts::none, Cuts::bytewise, Cuts::random};

class ScriptedPeer final {
  public:
    /// `script` must outlive the object.
    ScriptedPeer(std::string_view script, Cuts cuts, End end);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// Number of bytes that the program has received.
    std::size_t taken() const { return taken_; }

    /// The first kilobytes that the program has sent.
    const std::string& sent() const { return sent_; }

    void record_sent(std::string_view bytes);
    /// Like recv: -1 with EAGAIN while it is silent.
    ssize_t deliver(void* buffer, std::size_t size);
    bool is_silent() const { return end_ == End::stalls && taken_ >= script_.size(); }

  private:
    std::size_t next_cut();

    std::string_view script_;
    Cuts cuts_;
    End end_;
    std::size_t taken_ = 0;
    std::string sent_;
    std::uint32_t random_;
};

/// An end that depends only on the script. Mostly the end of the connection; repeating takes long.
End end_of(std::string_view script);

}  // namespace fuzzing
