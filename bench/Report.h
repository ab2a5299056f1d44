/// The results as one table: each figure with its spread, its yardstick and its goal.
///
/// Belongs to the thread that measures.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

namespace bench {

using Samples = std::vector<double>;

/// The smallest sample that `share` (0..1) of all samples do not exceed. Throws std::runtime_error
/// without samples.
double percentile(Samples samples, double share);

/// The medians of the four quarters of a series, as if each were a round.
Samples medians_of_quarters(const Samples& samples);

/// y = fixed + slope * x, by least squares.
struct Line {
    double fixed;
    double slope;
    double largest_deviation;  ///< of a point from the line, relative to the point

    static Line through(const Samples& x, const Samples& y);
};

class Report final {
  public:
    /// The following rows are of this subject.
    void begin(const std::string& subject) { subject_ = subject; }
    /// Adds a row and prints it. Rounds of the daemon and its yardstick alternate: the n-th values
    /// of both belong together, and their ratio does not depend on how busy the machine was.
    ///
    /// `values`: one for each round. `yardstick`: none, one for all rounds, or one for each.
    /// `goal` of the median value, "<= 60", ">= 60" or "= 60", or of the median ratio,
    /// "ratio <= 1"; it is not judged when the yardstick that it needs is missing or counted
    /// nothing.
    void add(const std::string& figure, const std::string& unit, const Samples& values,
             const Samples& yardstick = {}, const std::string& goal = {});
    /// Adds all samples to the last row, for a picture of their distribution. In the JSON only.
    void add_series(const Samples& values, const Samples& yardstick);

    const Json::Value& json() const { return rows_; }
    int missed_goals() const { return missed_; }
    int goals_not_judged() const { return not_judged_; }

  private:
    std::string judge(Json::Value& row, const std::string& goal, const Samples& judged);

    std::string subject_;
    Json::Value rows_{Json::arrayValue};
    int missed_ = 0;
    int not_judged_ = 0;
};

}  // namespace bench
