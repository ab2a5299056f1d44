/// Test vectors: the rows of a text file in the folder of the test, one case a row. Its last cell
/// says which fault the case would catch.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/TextTable.h"

/// Runs `check` with the cells of each row of a section. `file` is relative to tests/. A failure
/// names the row's file, line and fault. Fails if a row does not have `cells` cells.
template <typename Check>
void for_each_vector(const std::string& file, const std::string& section, std::size_t cells,
                     const Check& check) {
    for (const auto& row :
         simulator::read_table(std::string(LUMIVAD_TESTS_FOLDER) + "/" + file, section)) {
        SCOPED_TRACE(row.place + ": " + row.cells.back());
        ASSERT_EQ(row.cells.size(), cells);
        check(row.cells);
    }
}

/// " (a)()(c)", as rows have lists of texts; empty for none.
inline std::string in_brackets(const std::vector<std::string>& texts) {
    std::string joined = texts.empty() ? "" : " ";
    for (const std::string& text : texts) {
        joined.append("(").append(text).append(")");
    }
    return joined;
}
