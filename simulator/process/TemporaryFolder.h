/// A private folder with an unpredictable name; the destructor removes it.
#pragma once

#include <filesystem>

namespace simulator {

class TemporaryFolder final {
  public:
    /// Throws std::system_error if the folder cannot be created.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace simulator
