// torture: the whole fault matrix, the rows that take minutes too, then rows at random moments for
// as long as is asked for; ends with the matrix as it was observed. Each trial is a process of its
// own, with a house of its own, so that several run at once.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>
#include <CLI/CLI.hpp>

#include "FaultRows.h"
#include "simulator/ChildProcess.h"
#include "simulator/JsonText.h"
#include "simulator/Sandbox.h"

namespace {

using simulator::ChildProcess;
using Clock = std::chrono::steady_clock;
using Length = FaultRow::Length;
using Lines = std::vector<std::string>;

struct Arguments {
    std::string daemon;
    std::string shim;
    std::string row;  // one trial of this row, told on standard output as JSON
    unsigned seed = 0;
    int minutes = 0;
    int jobs = 4;
    std::string folder = "torture";  // of what failed trials said
};

struct Task {
    const FaultRow* row;
    unsigned seed;
};

struct Result {
    Lines user_sees, log_says;
    std::string lost;
    int runs = 0;
    int failed = 0;
};

// A trial ----------------------------------------------------------------------------------------

Json::Value json_of(const Lines& lines) {
    Json::Value array(Json::arrayValue);
    for (const std::string& line : lines) {
        array.append(line);
    }
    return array;
}

int run_trial(const FaultRow& row, const Arguments& arguments) {
    Trial trial({arguments.daemon, row.needs_shim() ? arguments.shim : "", arguments.seed, true});
    row.run(trial);
    const Trial::Finding finding = trial.finish();
    Json::Value told;
    told["user sees"] = json_of(finding.user_sees);
    told["log says"] = json_of(finding.log_says);
    told["lost"] = finding.lost;
    told["problems"] = json_of(finding.problems);
    std::cout << simulator::compact_json(told) << std::endl;
    if (!finding.problems.empty()) {
        std::cerr << trial.transcript();
    }
    return finding.problems.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

// The table --------------------------------------------------------------------------------------

constexpr std::size_t kWidths[] = {26, 42, 58, 26, 6};
constexpr std::size_t kColumns = std::size(kWidths);

// Each line begins at the left; what is too long goes on in the next.
Lines wrapped(const Lines& lines, std::size_t width) {
    Lines cell;
    for (const std::string& line : lines) {
        std::string rest = line;
        while (rest.size() > width) {
            const std::size_t blank = rest.rfind(' ', width);
            const std::size_t end = blank == std::string::npos || blank < 4 ? width : blank;
            cell.push_back(rest.substr(0, end));
            rest = "  " + rest.substr(rest.find_first_not_of(' ', end));
        }
        cell.push_back(rest);
    }
    return cell;
}

void print_rule() {
    for (const std::size_t width : kWidths) {
        std::cout << "+" << std::string(width + 2, '-');
    }
    std::cout << "+\n";
}

void print_row(const Lines (&cells)[kColumns]) {
    Lines columns[kColumns];
    std::size_t height = 0;
    for (std::size_t i = 0; i < kColumns; ++i) {
        columns[i] = wrapped(cells[i], kWidths[i]);
        height = std::max(height, columns[i].size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        for (std::size_t i = 0; i < kColumns; ++i) {
            std::string text = line < columns[i].size() ? columns[i][line] : "";
            text.resize(kWidths[i], ' ');
            std::cout << "| " << text << " ";
        }
        std::cout << "|\n";
    }
    print_rule();
}

// Many trials ------------------------------------------------------------------------------------

class Torture final {
  public:
    explicit Torture(const Arguments& arguments)
        : arguments_(arguments), rows_(fault_rows()), generator_(arguments.seed) {
        // The longest first, so that the others run beside it.
        for (const Length length : {Length::quarter_of_an_hour, Length::minutes, Length::seconds}) {
            for (const FaultRow& row : rows_) {
                if (row.length == length) {
                    tasks_.push_back({&row, 0});
                }
            }
        }
    }

    /// True when every trial held.
    bool run() {
        std::vector<std::thread> workers;
        for (int i = 0; i < arguments_.jobs; ++i) {
            workers.emplace_back([this] { work(); });
        }
        for (std::thread& worker : workers) {
            worker.join();
        }
        return std::all_of(results_.begin(), results_.end(),
                           [](const auto& entry) { return entry.second.failed == 0; });
    }

    void print_table() const {
        print_rule();
        print_row({{"fault"}, {"the user sees"}, {"the log says"}, {"lost"}, {"runs"}});
        for (const FaultRow& row : rows_) {
            const Result& result = results_.at(row.name);
            Lines runs{std::to_string(result.runs)};
            if (result.failed > 0) {
                runs.push_back(std::to_string(result.failed) + " BAD");
            }
            print_row({{row.fault}, result.user_sees, result.log_says, {result.lost}, runs});
        }
    }

  private:
    void work() {
        while (const std::optional<Task> task = next_task()) {
            const auto start = Clock::now();
            const ChildProcess::Result told =
                ChildProcess::run("/proc/self/exe",
                                  {"--daemon", arguments_.daemon, "--shim", arguments_.shim,
                                   "--row", task->row->name, "--seed", std::to_string(task->seed)},
                                  {}, std::chrono::minutes(30));
            take(*task, told, Clock::now() - start);
        }
    }

    // First every row, then any that does not take too long, at random moments.
    std::optional<Task> next_task() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!tasks_.empty()) {
            const Task task = tasks_.front();
            tasks_.pop_front();
            return task;
        }
        const auto now = Clock::now();
        random_end_ = random_end_.value_or(now + std::chrono::minutes(arguments_.minutes));
        if (now >= *random_end_) {
            return std::nullopt;
        }
        const FaultRow* row = nullptr;
        do {
            row = &rows_[generator_() % rows_.size()];
        } while (row->length == Length::quarter_of_an_hour);
        return Task{row, static_cast<unsigned>(generator_() | 1U)};
    }

    void take(const Task& task, const ChildProcess::Result& told, Clock::duration duration) {
        const std::lock_guard<std::mutex> lock(mutex_);
        Result& result = results_[task.row->name];
        const Json::Value json =
            simulator::parse_json(told.output).value_or(Json::Value(Json::objectValue));
        if (result.runs++ == 0) {
            result.user_sees = lines_of(json["user sees"]);
            result.log_says = lines_of(json["log says"]);
            result.lost = json["lost"].asString();
        }
        const bool holds = told.exit_code() == 0;
        result.failed += holds ? 0 : 1;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration).count();
        std::printf("%4d s  %-32s seed %-10u %s\n", static_cast<int>(seconds), task.row->name,
                    task.seed, holds ? "holds" : "FAILS");
        if (!holds) {
            for (const std::string& problem : lines_of(json["problems"])) {
                std::printf("        %s\n", problem.c_str());
            }
            keep(task, told);
        }
        std::fflush(stdout);
    }

    void keep(const Task& task, const ChildProcess::Result& told) const {
        std::filesystem::create_directories(arguments_.folder);
        const std::string path =
            arguments_.folder + "/" + task.row->name + "-" + std::to_string(task.seed) + ".txt";
        std::ofstream(path) << told.ending.text() << "\n" << told.output << told.errors;
        std::printf("        %s\n", path.c_str());
    }

    static Lines lines_of(const Json::Value& array) {
        Lines lines;
        for (const Json::Value& line : array) {
            lines.push_back(line.asString());
        }
        return lines;
    }

    Arguments arguments_;
    std::vector<FaultRow> rows_;
    std::mutex mutex_;  // guards the rest
    std::mt19937 generator_;
    std::deque<Task> tasks_;
    std::optional<Clock::time_point> random_end_;
    std::map<std::string, Result> results_;  // by name of the row
};

int run(const Arguments& arguments) {
    if (!arguments.row.empty()) {
        const std::vector<FaultRow> rows = fault_rows();
        const auto found = std::find_if(rows.begin(), rows.end(), [&](const FaultRow& row) {
            return row.name == arguments.row;
        });
        if (found == rows.end()) {
            throw std::runtime_error("no row is named " + arguments.row);
        }
        const simulator::Sandbox sandbox = simulator::Sandbox::enter();
        return run_trial(*found, arguments);
    }
    Torture torture(arguments);
    std::printf("seed %u\n", arguments.seed);
    const bool holds = torture.run();
    torture.print_table();
    std::printf(holds ? "Every trial held.\n" : "Some trials FAILED.\n");
    return holds ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Arguments arguments;
        arguments.seed = std::random_device()();
        CLI::App app(
            "Puts the daemon through every fault of the matrix, and prints what was observed.");
        app.add_option("--daemon", arguments.daemon, "the program")->required();
        app.add_option("--shim", arguments.shim, "the library that goes into it")->required();
        app.add_option("--minutes", arguments.minutes,
                       "of rows at random moments, once each has been through")
            ->check(CLI::Range(0, 10000));
        app.add_option("--jobs", arguments.jobs, "trials at a time")->check(CLI::Range(1, 64));
        app.add_option("--seed", arguments.seed, "of the random moments; 0 for none, with --row");
        app.add_option("--row", arguments.row, "one trial of this row, told as JSON");
        app.add_option("--folder", arguments.folder, "for what trials that failed have said");
        CLI11_PARSE(app, argc, argv);
        return run(arguments);
    } catch (const std::exception& problem) {
        std::cerr << "torture: " << problem.what() << "\n";
        return EXIT_FAILURE;
    }
}
