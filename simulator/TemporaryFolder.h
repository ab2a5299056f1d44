/// A folder of nobody else's, under a name that nobody can know before; it goes with this.
#pragma once

#include <filesystem>

namespace simulator {

class TemporaryFolder final {
  public:
    /// Throws std::system_error when it cannot be made.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace simulator
