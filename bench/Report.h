/// The results as one table: each figure with its spread, its yardstick and its goal.
///
/// Belongs to the thread that measures.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace bench {

using Samples = std::vector<double>;

/// The smallest sample that `share` (0..1) of all samples do not exceed; 0 without samples.
double percentile(Samples samples, double share);

/// Cuts a series into `parts` consecutive parts and returns their medians, as if each were a round.
Samples medians_of_parts(const Samples& samples, std::size_t parts);

struct Spread {
    double low = 0;
    double median = 0;
    double high = 0;

    static Spread of(const Samples& samples);
};

/// y = fixed + slope * x, by least squares.
struct Line {
    double fixed;
    double slope;
    double largest_deviation;  ///< of a point from the line, relative to the point

    static Line through(const Samples& x, const Samples& y);
};

struct Goal {
    enum class Of { value, ratio };  ///< the figure itself, or its ratio to the yardstick
    enum class Side { at_most, at_least, exactly };

    Of of;
    Side side;
    double limit;
};

/// Rounds of the daemon and its yardstick alternate: the n-th values of both belong together, and
/// their ratio does not depend on how busy the machine was.
struct Row {
    std::string subject;
    std::string figure;
    std::string unit;
    Samples values;          ///< one for each round
    Samples yardstick = {};  ///< none, one for all rounds, or one for each
    std::optional<Goal> goal = {};
    /// All samples, for a picture of their distribution. In the JSON only.
    Samples series = {};
    Samples yardstick_series = {};

    Samples ratios() const;
    /// Empty when there is no goal, or the yardstick that it needs is missing.
    std::optional<bool> is_met() const;
};

class Report final {
  public:
    /// Prints the row at once.
    void add(const Row& row);
    /// Prints a line before the next rows.
    static void say(const std::string& text);

    Json::Value json() const;
    std::size_t rows() const { return rows_.size(); }
    std::size_t missed_goals() const;
    /// Goals whose yardstick is missing.
    std::size_t goals_not_judged() const;

  private:
    std::vector<Row> rows_;
};

}  // namespace bench
