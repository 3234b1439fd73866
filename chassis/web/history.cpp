#include "web/history.h"

#include <algorithm>
#include <span>
#include <utility>

namespace chassis {

namespace {

constexpr std::size_t kMerged = 4; // points that become two

// The lowest and the highest, in the order of their times.
void append_extremes(std::vector<HistoryPoint> &points, std::span<const HistoryPoint> group) {
    const auto [low, high] = std::ranges::minmax_element(group, {}, &HistoryPoint::value);
    points.push_back(*std::min(low, high));
    if (low != high) {
        points.push_back(*std::max(low, high));
    }
}

} // namespace

void History::add(const HistoryPoint &point) {
    newest_ = point;
    std::vector<HistoryPoint> extremes;
    open_.push_back(point);
    append_extremes(extremes, open_);
    open_ = std::move(extremes);
    if (++in_group_ == group_) {
        kept_.insert(kept_.end(), open_.begin(), open_.end());
        open_.clear();
        in_group_ = 0;
        make_room();
    }
}

void History::make_room() {
    if (kept_.size() < limit_) {
        return;
    }
    if (keep_ == Keep::kRecent) {
        kept_.erase(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(limit_ / 2));
        return;
    }
    std::vector<HistoryPoint> coarser;
    const std::span<const HistoryPoint> all = kept_;
    for (std::size_t i = 0; i < all.size(); i += kMerged) {
        append_extremes(coarser, all.subspan(i, std::min(kMerged, all.size() - i)));
    }
    kept_ = std::move(coarser);
    group_ = group_ == 1 ? kMerged : 2 * group_;
}

std::vector<HistoryPoint> History::points() const {
    std::vector<HistoryPoint> all = kept_;
    all.insert(all.end(), open_.begin(), open_.end());
    if (!all.empty() && all.back() != newest_) {
        all.push_back(newest_);
    }
    return all;
}

} // namespace chassis
