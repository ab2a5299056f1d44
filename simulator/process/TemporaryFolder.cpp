#include "simulator/process/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace simulator {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "lumivad-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code problem;
    std::filesystem::remove_all(path_, problem);
}

}  // namespace simulator
