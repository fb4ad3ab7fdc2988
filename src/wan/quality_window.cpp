#include "wan/quality_window.h"

void QualityWindow::add(const ProbeReport& report) {
    const uint32_t sent = report.sent;
    const uint32_t received = report.received <= sent ? report.received : sent;
    const double rtt = received > 0 ? report.rttSumMs / received : 0;
    // Request i is answered when the share of answers reached by it grows; only the last
    // CAPACITY of them could stay in the window.
    const uint32_t first = sent > CAPACITY ? sent - static_cast<uint32_t>(CAPACITY) : 0;
    for (uint32_t i = first; i < sent; ++i) {
        const bool answered = uint64_t{i + 1} * received / sent > uint64_t{i} * received / sent;
        push(Request{answered, answered && report.measured, rtt});
    }
}

void QualityWindow::push(const Request& request) {
    ring_[next_] = request;
    next_ = (next_ + 1) % CAPACITY;
    if (count_ < CAPACITY)
        ++count_;
}

bool QualityWindow::clear() {
    const bool had = count_ > 0;
    next_ = 0;
    count_ = 0;
    return had;
}

double QualityWindow::lossPercent() const {
    if (count_ == 0)
        return 0;
    size_t lost = 0;
    for (size_t i = 0; i < count_; ++i)
        lost += ring_[i].answered ? 0 : 1;
    return 100.0 * static_cast<double>(lost) / static_cast<double>(count_);
}

bool QualityWindow::meanLatencyMs(double& out) const {
    double sum = 0;
    size_t timed = 0;
    for (size_t i = 0; i < count_; ++i) {
        if (ring_[i].timed) {
            sum += ring_[i].rttMs;
            ++timed;
        }
    }
    if (timed == 0)
        return false;
    out = sum / static_cast<double>(timed);
    return true;
}
