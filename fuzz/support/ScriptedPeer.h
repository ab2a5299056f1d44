/// The peer of every socket that the program connects or receives from: it delivers the bytes of a
/// script, cut as TCP might cut them, and takes whatever it is sent.
///
/// The program's calls of connect, poll, send, sendto, recv and read (of a connected socket) end
/// here while one lives; there is one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace fuzzing {

/// How much one receive delivers at most: all that fits, one byte, or a number that follows from
/// the script, so that an input always behaves alike.
enum class Cuts { none, bytewise, random };
/// What comes behind the script: the end of the connection, silence, or its last bytes for ever.
enum class End { closes, stalls, babbles };

constexpr Cuts kAllCuts[] = {Cuts::none, Cuts::bytewise, Cuts::random};

class ScriptedPeer final {
  public:
    /// `script` outlives it.
    ScriptedPeer(std::string_view script, Cuts cuts, End end);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// Bytes that the program has taken, of the script and behind it.
    std::size_t taken() const { return taken_; }

    /// What the program has sent, its first kilobytes.
    const std::string& heard() const { return heard_; }

    void hear(std::string_view bytes);
    /// As recv: -1 with EAGAIN while it is silent.
    ssize_t deliver(void* buffer, std::size_t size);
    bool is_silent() const { return end_ == End::stalls && taken_ >= script_.size(); }

  private:
    std::size_t next_cut();

    std::string_view script_;
    Cuts cuts_;
    End end_;
    std::size_t taken_ = 0;
    std::string heard_;
    std::uint32_t random_;
};

/// An end that follows from the script; mostly the end of the connection, as babbling takes long.
End end_of(std::string_view script);

}  // namespace fuzzing
