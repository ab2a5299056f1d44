// torture: runs the whole fault matrix, including the rows that take minutes, then rows at random
// moments for a given time, and prints the observed matrix. Each trial is a process with a house of
// its own, so that several run in parallel.
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
#include "simulator/JsonText.h"
#include "simulator/process/ChildProcess.h"
#include "simulator/process/Sandbox.h"

namespace {

using simulator::ChildProcess;
using Clock = std::chrono::steady_clock;
using Length = FaultRow::Length;
using Lines = std::vector<std::string>;

struct Arguments {
    std::string daemon;
    std::string shim;
    std::string row;  // run one trial of this row; JSON on standard output
    unsigned seed = 0;
    int minutes = 0;
    int jobs = 4;
    std::string folder = "torture";  // output of failed trials
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
    Json::Value json;
    json["user sees"] = json_of(finding.user_sees);
    json["log says"] = json_of(finding.log_says);
    json["lost"] = finding.lost;
    json["problems"] = json_of(finding.problems);
    std::cout << simulator::compact_json(json) << std::endl;
    if (!finding.problems.empty()) {
        std::cerr << trial.transcript();
    }
    return finding.problems.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

// The table --------------------------------------------------------------------------------------

constexpr std::size_t kWidths[] = {26, 42, 58, 26, 6};
constexpr std::size_t kColumns = std::size(kWidths);

// Wraps long lines, with an indent.
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
        // The longest first; the others run in parallel.
        for (const Length length : {Length::quarter_of_an_hour, Length::minutes, Length::seconds}) {
            for (const FaultRow& row : rows_) {
                if (row.length == length) {
                    tasks_.push_back({&row, 0});
                }
            }
        }
    }

    /// True if every trial passed.
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
        print_row({{"fault"}, {"user sees"}, {"log says"}, {"lost"}, {"runs"}});
        for (const FaultRow& row : rows_) {
            const Result& result = results_.at(row.name);
            Lines runs{std::to_string(result.runs)};
            if (result.failed > 0) {
                runs.push_back(std::to_string(result.failed) + " FAILED");
            }
            print_row({{row.fault}, result.user_sees, result.log_says, {result.lost}, runs});
        }
    }

  private:
    void work() {
        while (const std::optional<Task> task = next_task()) {
            const auto start = Clock::now();
            const ChildProcess::Result child =
                ChildProcess::run(program_,
                                  {"--daemon", arguments_.daemon, "--shim", arguments_.shim,
                                   "--row", task->row->name, "--seed", std::to_string(task->seed)},
                                  {}, std::chrono::minutes(30));
            take(*task, child, Clock::now() - start);
        }
    }

    // First every row, then random rows except the longest, at random moments.
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

    void take(const Task& task, const ChildProcess::Result& child, Clock::duration duration) {
        const std::lock_guard<std::mutex> lock(mutex_);
        Result& result = results_[task.row->name];
        const Json::Value json =
            simulator::parse_json(child.output).value_or(Json::Value(Json::objectValue));
        if (result.runs++ == 0) {
            result.user_sees = lines_of(json["user sees"]);
            result.log_says = lines_of(json["log says"]);
            result.lost = json["lost"].asString();
        }
        const bool has_passed = child.exit_code() == 0;
        result.failed += has_passed ? 0 : 1;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration).count();
        std::printf("%4d s  %-32s seed %-10u %s\n", static_cast<int>(seconds), task.row->name,
                    task.seed, has_passed ? "passed" : "FAILED");
        if (!has_passed) {
            for (const std::string& problem : lines_of(json["problems"])) {
                std::printf("        %s\n", problem.c_str());
            }
            keep(task, child);
        }
        std::fflush(stdout);
    }

    void keep(const Task& task, const ChildProcess::Result& child) const {
        std::filesystem::create_directories(arguments_.folder);
        const std::string path =
            arguments_.folder + "/" + task.row->name + "-" + std::to_string(task.seed) + ".txt";
        std::ofstream(path) << child.ending.text() << "\n" << child.output << child.errors;
        std::printf("        %s\n", path.c_str());
    }

    static Lines lines_of(const Json::Value& array) {
        Lines lines;
        for (const Json::Value& line : array) {
            lines.push_back(line.asString());
        }
        return lines;
    }

    const std::string program_ = std::filesystem::read_symlink("/proc/self/exe");
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
            throw std::runtime_error("unknown row: " + arguments.row);
        }
        const simulator::Sandbox sandbox = simulator::Sandbox::enter();
        return run_trial(*found, arguments);
    }
    Torture torture(arguments);
    std::printf("seed %u\n", arguments.seed);
    const bool has_passed = torture.run();
    torture.print_table();
    std::printf(has_passed ? "All trials passed.\n" : "Some trials FAILED.\n");
    return has_passed ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Arguments arguments;
        arguments.seed = std::random_device()();
        CLI::App app(
            "Runs the daemon through every fault of the matrix and prints the observations.");
        app.add_option("--daemon", arguments.daemon, "path of lumivad")->required();
        app.add_option("--shim", arguments.shim, "path of the library fault_shim")->required();
        app.add_option("--minutes", arguments.minutes,
                       "duration of the rows at random moments, after every row has run once")
            ->check(CLI::Range(0, 10000));
        app.add_option("--jobs", arguments.jobs, "number of parallel trials")
            ->check(CLI::Range(1, 64));
        app.add_option("--seed", arguments.seed,
                       "seed of the random moments; with --row, 0 for none");
        app.add_option("--row", arguments.row, "run one trial of this row and print JSON");
        app.add_option("--folder", arguments.folder, "folder for the output of failed trials");
        CLI11_PARSE(app, argc, argv);
        return run(arguments);
    } catch (const std::exception& problem) {
        std::cerr << "torture: " << problem.what() << "\n";
        return EXIT_FAILURE;
    }
}
