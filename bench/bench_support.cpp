#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "bench.h"
#include "simvr/simvr_setup.h"

namespace stereon_bench {

namespace {

double MedianOfSorted(const std::vector<double>& sorted) {
    const std::size_t n = sorted.size();
    if (n == 0) {
        return 0.0;
    }
    return n % 2 == 1 ? sorted[n / 2] : 0.5 * (sorted[n / 2 - 1] + sorted[n / 2]);
}

// Columns a cell takes: UTF-8 continuation bytes ("±") take none.
std::size_t Columns(const std::string& cell) {
    std::size_t columns = 0;
    for (char c : cell) {
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            ++columns;
        }
    }
    return columns;
}

}  // namespace

Summary Summarize(std::vector<double> values) {
    Summary summary;
    summary.count = values.size();
    if (values.empty()) {
        return summary;
    }
    std::sort(values.begin(), values.end());
    summary.median = MedianOfSorted(values);
    summary.min = values.front();
    summary.max = values.back();
    std::vector<double> deviations;
    deviations.reserve(values.size());
    for (double value : values) {
        deviations.push_back(std::fabs(value - summary.median));
    }
    std::sort(deviations.begin(), deviations.end());
    summary.mad = MedianOfSorted(deviations);
    return summary;
}

double Percentile(std::vector<double> values, double p) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    const double rank = std::ceil(std::clamp(p, 0.0, 100.0) / 100.0 * values.size());
    const std::size_t index = rank < 1.0 ? 0 : static_cast<std::size_t>(rank) - 1;
    return values[std::min(index, values.size() - 1)];
}

nlohmann::json ToJson(const Summary& summary) {
    return {{"count", summary.count},
            {"median", summary.median},
            {"mad", summary.mad},
            {"min", summary.min},
            {"max", summary.max}};
}

nlohmann::json ToJson(const std::vector<AllocationSource>& sources, double per) {
    nlohmann::json list = nlohmann::json::array();
    for (const AllocationSource& source : sources) {
        list.push_back({{"where", source.where},
                        {"module", source.module},
                        {"count", per > 0 ? double(source.count) / per : 0.0}});
    }
    return list;
}

std::string AllocationCategory(const std::string& module) {
    static const char* const kDriver[] = {"_dri.so", "gallium", "LLVM",   "libGL",  "libEGL",
                                          "glapi",   "libgbm",  "libdrm", "libelf", "libz"};
    for (const char* part : kDriver) {
        if (module.find(part) != std::string::npos) {
            return "GL driver";
        }
    }
    if (module.find("vrclient") != std::string::npos) {
        return "runtime";
    }
    return "library";
}

void AddCase(nlohmann::json& section, const std::string& name, double medianMs,
             const nlohmann::json& ratios) {
    section["cases"][name] = {{"median_ms", medianMs}, {"ratios", ratios}};
}

std::string Fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string FormatMs(const Summary& summary) {
    const int decimals = summary.median < 10.0 ? 2 : 1;
    return Fixed(summary.median, decimals) + " ±" + Fixed(summary.mad, decimals) + " (" +
           Fixed(summary.min, decimals) + "-" + Fixed(summary.max, decimals) + ")";
}

RuntimeHome::RuntimeHome() {
    simvr::ResetRuntime();
    home = simvr::MakeTempDirectory("stereon-bench-");
    if (home.empty()) {
        reason = "cannot make a temporary directory";
        return;
    }
    if (!simvr::InstallVrPathFile(home, &reason)) {
        std::system(("rm -rf '" + home + "'").c_str());
        home.clear();
    }
}

RuntimeHome::~RuntimeHome() {
    simvr::ResetRuntime();
    simvr::ClearEnvironment();
    if (!home.empty()) {
        std::system(("rm -rf '" + home + "'").c_str());
    }
}

void PrintTable(const std::string& title, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const std::vector<std::string>& row : rows) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Columns(row[i]));
        }
    }
    std::printf("\n%s\n", title.c_str());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        std::string line;
        for (std::size_t i = 0; i < rows[r].size(); ++i) {
            const std::string& cell = rows[r][i];
            line += cell + std::string(widths[i] - Columns(cell), ' ') + "  ";
        }
        while (!line.empty() && line.back() == ' ') {
            line.pop_back();
        }
        std::printf("%s\n", line.c_str());
        if (r == 0) {
            std::printf("%s\n", std::string(Columns(line), '-').c_str());
        }
    }
    std::fflush(stdout);
}

}  // namespace stereon_bench
