#include "bench/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <stdexcept>

namespace bench {
namespace {

std::string text_of(double number) {
    char text[32];
    std::snprintf(text, sizeof(text), std::fabs(number) < 1e5 ? "%.4g" : "%.0f", number);
    return text;
}

// `spread`: null, or as spread_of writes it.
std::string text_of(const Json::Value& spread) {
    if (spread.isNull()) {
        return "-";
    }
    const std::string median = text_of(spread["median"].asDouble());
    return spread["low"] == spread["high"] ? median
                                           : median + " (" + text_of(spread["low"].asDouble()) +
                                                 ".." + text_of(spread["high"].asDouble()) + ")";
}

Json::Value spread_of(const Samples& samples) {
    Json::Value spread;
    spread["low"] = percentile(samples, 0);
    spread["median"] = percentile(samples, 0.5);
    spread["high"] = percentile(samples, 1);
    return spread;
}

Samples ratios_of(const Samples& values, const Samples& yardstick) {
    Samples ratios;
    for (std::size_t i = 0; i < values.size() && !yardstick.empty(); ++i) {
        const double measure = yardstick[std::min(i, yardstick.size() - 1)];
        if (measure > 0) {
            ratios.push_back(values[i] / measure);
        }
    }
    return ratios;
}

bool is_kept(const std::string& goal, double figure) {
    const std::size_t sign = goal.find_first_of("<>=");
    const double limit = std::stod(goal.substr(goal.find(' ', sign)));
    return goal[sign] == '<'   ? figure <= limit
           : goal[sign] == '>' ? figure >= limit
                               : figure == limit;
}

void print_line(const std::string& subject, const std::string& figure, const std::string& value,
                const std::string& yardstick, const std::string& ratio, const std::string& goal) {
    std::printf("%-10s %-40s %-28s %-28s %-22s %s\n", subject.c_str(), figure.c_str(),
                value.c_str(), yardstick.c_str(), ratio.c_str(), goal.c_str());
    std::fflush(stdout);
}

}  // namespace

double percentile(Samples samples, double share) {
    if (samples.empty()) {
        throw std::runtime_error("nothing was measured");
    }
    std::sort(samples.begin(), samples.end());
    const double rank = std::ceil(share * static_cast<double>(samples.size()));
    return samples[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

Samples medians_of_quarters(const Samples& samples) {
    Samples medians;
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
        const double* const begin = samples.data() + samples.size() * quarter / 4;
        const double* const end = samples.data() + samples.size() * (quarter + 1) / 4;
        medians.push_back(percentile(Samples(begin, end), 0.5));
    }
    return medians;
}

Line Line::through(const Samples& x, const Samples& y) {
    const auto count = static_cast<double>(x.size());
    const double mean_x = std::accumulate(x.begin(), x.end(), 0.0) / count;
    const double mean_y = std::accumulate(y.begin(), y.end(), 0.0) / count;
    double xy = 0;
    double xx = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        xy += (x[i] - mean_x) * (y[i] - mean_y);
        xx += (x[i] - mean_x) * (x[i] - mean_x);
    }
    Line line{mean_y - xy / xx * mean_x, xy / xx, 0};
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double deviation = std::fabs(line.fixed + line.slope * x[i] - y[i]) / y[i];
        line.largest_deviation = std::max(line.largest_deviation, deviation);
    }
    return line;
}

void Report::add(const std::string& figure, const std::string& unit, const Samples& values,
                 const Samples& yardstick, const std::string& goal) {
    if (rows_.empty()) {
        print_line("subject", "figure", "lumivad", "yardstick", "ratio", "goal");
    }
    const Samples ratios = ratios_of(values, yardstick);
    Json::Value row;
    row["subject"] = subject_;
    row["figure"] = figure;
    row["unit"] = unit;
    row["value"] = spread_of(values);
    row["yardstick"] = yardstick.empty() ? Json::Value() : spread_of(yardstick);
    row["ratio"] = ratios.empty() ? Json::Value() : spread_of(ratios);
    const std::string verdict = judge(row, goal, goal.rfind("ratio", 0) == 0 ? ratios : values);
    print_line(subject_, figure + (unit.empty() ? "" : ", " + unit), text_of(row["value"]),
               text_of(row["yardstick"]), text_of(row["ratio"]), verdict);
    rows_.append(row);
}

std::string Report::judge(Json::Value& row, const std::string& goal, const Samples& judged) {
    if (goal.empty()) {
        return "-";
    }
    if (judged.empty()) {
        ++not_judged_;
        return goal + ", not judged";
    }
    const bool is_met = is_kept(goal, percentile(judged, 0.5));
    row["goal"] = goal;
    row["is_met"] = is_met;
    missed_ += is_met ? 0 : 1;
    return goal + (is_met ? ", met" : ", MISSED");
}

void Report::add_series(const Samples& values, const Samples& yardstick) {
    Json::Value& row = rows_[rows_.size() - 1];
    for (const double value : values) {
        row["series"].append(value);
    }
    for (const double value : yardstick) {
        row["yardstick_series"].append(value);
    }
}

}  // namespace bench
