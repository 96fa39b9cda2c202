// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One measured ratio: how the service does against a reference, both measured in this run.
#pragma once

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace bench {

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Prints a row of the table as one line of JSON. `limit` is what the ratio may at most be.
inline void printRow(const std::string& name, const std::string& unit, double value,
                     double reference, double ratio, double limit) {
    const nlohmann::json row = {{"name", name},           {"unit", unit},   {"value", value},
                                {"reference", reference}, {"ratio", ratio}, {"limit", limit}};
    std::cout << row.dump() << std::endl;
}

// The same for pairs that were measured in turn: the ratio is the median of the pairs' ratios.
inline void printPairs(const std::string& name, const std::string& unit,
                       const std::vector<double>& values, const std::vector<double>& references,
                       double limit) {
    std::vector<double> ratios;
    for (size_t i = 0; i < values.size(); ++i) ratios.push_back(values[i] / references[i]);
    printRow(name, unit, median(values), median(references), median(ratios), limit);
}

}  // namespace bench
