#include "apps/etabulon/request/CliSuggest.h"

#include "apps/etabulon/output/CliUtf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

constexpr std::size_t kMostLike = 3;
constexpr std::size_t kMostListed = 8;
/// Longer names aren't compared: the cost grows with the square of the length.
constexpr std::size_t kLongestCompared = 100;

char Lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The edit distance: the least number of letters to add, drop or change.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row[b.size()];
}

std::vector<std::string> Like(std::string_view wanted, std::span<const std::string> existing) {
    if (wanted.empty() || wanted.size() > kLongestCompared) {
        return {};
    }
    const std::string lowered = Lowered(wanted);
    const std::size_t limit = wanted.size() < 4 ? 1 : wanted.size() < 8 ? 2 : 3;
    std::vector<std::pair<std::size_t, std::string>> ranked;
    for (const std::string& name : existing) {
        if (name.empty() || name.size() > kLongestCompared) {
            continue;
        }
        const std::string other = Lowered(name);
        const std::size_t distance = Distance(lowered, other);
        const bool isPart = lowered.size() >= 3 && other.find(lowered) != std::string::npos;
        if (distance <= limit || isPart) {
            ranked.emplace_back(isPart ? std::min(distance, limit) : distance, name);
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> like;
    for (auto& [rank, name] : ranked) {
        if (like.size() < kMostLike) {
            like.push_back(std::move(name));
        }
    }
    return like;
}

std::string Joined(std::span<const std::string> names, std::string_view lastWord) {
    std::string joined;
    for (std::size_t index = 0; index < names.size(); ++index) {
        if (index != 0) {
            joined += index + 1 == names.size() ? lastWord : ", ";
        }
        joined += Quoted(names[index]);
    }
    return joined;
}

}  // namespace

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lower);
    return lowered;
}

std::string DidYouMean(std::string_view wanted, std::span<const std::string> existing) {
    const std::vector<std::string> like = Like(wanted, existing);
    return like.empty() ? "" : fmt::format("; did you mean {}?", Joined(like, " or "));
}

std::string WhatThereIs(std::string_view wanted, std::span<const std::string> existing) {
    if (existing.empty()) {
        return "; there is none";
    }
    if (std::string meant = DidYouMean(wanted, existing); !meant.empty()) {
        return meant;
    }
    const std::size_t listed = std::min(existing.size(), kMostListed);
    if (listed == existing.size()) {
        return fmt::format("; there {} {}", existing.size() == 1 ? "is" : "are",
                           Joined(existing, " and "));
    }
    return fmt::format("; there are {} and {} more", Joined(existing.first(listed), ", "),
                       existing.size() - listed);
}

}  // namespace etabulon
