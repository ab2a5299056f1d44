#include "bench/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace bench {
namespace {

std::string text_of(double number) {
    char text[32];
    std::snprintf(text, sizeof(text), std::fabs(number) < 1e5 ? "%.4g" : "%.0f", number);
    return text;
}

std::string text_of(const Spread& spread) {
    const std::string median = text_of(spread.median);
    return spread.low == spread.high
               ? median
               : median + " (" + text_of(spread.low) + ".." + text_of(spread.high) + ")";
}

std::string text_of(const Goal& goal) {
    const char* const side = goal.side == Goal::Side::at_most    ? "<= "
                             : goal.side == Goal::Side::at_least ? ">= "
                                                                 : "= ";
    return std::string(goal.of == Goal::Of::ratio ? "ratio " : "") + side + text_of(goal.limit);
}

bool keeps(const Goal& goal, double figure) {
    switch (goal.side) {
        case Goal::Side::at_most:
            return figure <= goal.limit;
        case Goal::Side::at_least:
            return figure >= goal.limit;
        case Goal::Side::exactly:
            break;
    }
    return figure == goal.limit;
}

void print_line(const std::string& subject, const std::string& figure, const std::string& value,
                const std::string& yardstick, const std::string& ratio, const std::string& goal) {
    std::printf("%-10s %-40s %-28s %-28s %-22s %s\n", subject.c_str(), figure.c_str(),
                value.c_str(), yardstick.c_str(), ratio.c_str(), goal.c_str());
    std::fflush(stdout);
}

Json::Value json_of(const Spread& spread) {
    Json::Value json;
    json["low"] = spread.low;
    json["median"] = spread.median;
    json["high"] = spread.high;
    return json;
}

Json::Value json_of(const Samples& samples) {
    Json::Value json(Json::arrayValue);
    for (const double sample : samples) {
        json.append(sample);
    }
    return json;
}

}  // namespace

double percentile(Samples samples, double share) {
    if (samples.empty()) {
        return 0;
    }
    std::sort(samples.begin(), samples.end());
    const auto rank =
        static_cast<std::size_t>(std::ceil(share * static_cast<double>(samples.size())));
    return samples[std::max<std::size_t>(rank, 1) - 1];
}

Samples medians_of_parts(const Samples& samples, std::size_t parts) {
    Samples medians;
    for (std::size_t part = 0; part < parts; ++part) {
        const auto begin =
            samples.begin() + static_cast<std::ptrdiff_t>(samples.size() * part / parts);
        const auto end =
            samples.begin() + static_cast<std::ptrdiff_t>(samples.size() * (part + 1) / parts);
        if (begin != end) {
            medians.push_back(percentile(Samples(begin, end), 0.5));
        }
    }
    return medians;
}

Spread Spread::of(const Samples& samples) {
    return {percentile(samples, 0), percentile(samples, 0.5), percentile(samples, 1)};
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
    const double slope = xx > 0 ? xy / xx : 0;
    Line line{mean_y - slope * mean_x, slope, 0};
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double deviation = std::fabs(line.fixed + slope * x[i] - y[i]) / y[i];
        line.largest_deviation = std::max(line.largest_deviation, deviation);
    }
    return line;
}

Samples Row::ratios() const {
    Samples result;
    for (std::size_t i = 0; i < values.size() && !yardstick.empty(); ++i) {
        const double measure = yardstick[std::min(i, yardstick.size() - 1)];
        if (measure > 0) {
            result.push_back(values[i] / measure);
        }
    }
    return result;
}

std::optional<bool> Row::is_met() const {
    const Samples judged = goal && goal->of == Goal::Of::ratio ? ratios() : values;
    if (!goal || judged.empty()) {
        return std::nullopt;
    }
    return keeps(*goal, Spread::of(judged).median);
}

void Report::add(const Row& row) {
    if (rows_.empty()) {
        print_line("subject", "figure", "lumivad", "yardstick", "ratio", "goal");
    }
    const Samples ratios = row.ratios();
    const std::optional<bool> is_met = row.is_met();
    print_line(row.subject, row.figure + (row.unit.empty() ? "" : ", " + row.unit),
               text_of(Spread::of(row.values)),
               row.yardstick.empty() ? "-" : text_of(Spread::of(row.yardstick)),
               ratios.empty() ? "-" : text_of(Spread::of(ratios)),
               !row.goal ? "-"
                         : text_of(*row.goal) + (!is_met   ? ", not judged"
                                                 : *is_met ? ", met"
                                                           : ", MISSED"));
    rows_.push_back(row);
}

void Report::say(const std::string& text) {
    std::printf("# %s\n", text.c_str());
    std::fflush(stdout);
}

Json::Value Report::json() const {
    Json::Value all(Json::arrayValue);
    for (const Row& row : rows_) {
        Json::Value json;
        json["subject"] = row.subject;
        json["figure"] = row.figure;
        json["unit"] = row.unit;
        json["value"] = json_of(Spread::of(row.values));
        if (!row.yardstick.empty()) {
            json["yardstick"] = json_of(Spread::of(row.yardstick));
        }
        if (const Samples ratios = row.ratios(); !ratios.empty()) {
            json["ratio"] = json_of(Spread::of(ratios));
        }
        if (const std::optional<bool> is_met = row.is_met()) {
            json["goal"] = text_of(*row.goal);
            json["is_met"] = *is_met;
        }
        if (!row.series.empty()) {
            json["series"] = json_of(row.series);
            json["yardstick_series"] = json_of(row.yardstick_series);
        }
        all.append(json);
    }
    return all;
}

std::size_t Report::missed_goals() const {
    return static_cast<std::size_t>(std::count_if(
        rows_.begin(), rows_.end(), [](const Row& row) { return row.is_met() == false; }));
}

std::size_t Report::goals_not_judged() const {
    return static_cast<std::size_t>(std::count_if(
        rows_.begin(), rows_.end(), [](const Row& row) { return row.goal && !row.is_met(); }));
}

}  // namespace bench
