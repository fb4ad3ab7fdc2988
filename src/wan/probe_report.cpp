#include "wan/probe_report.h"

#include <sstream>
#include <vector>

#include "wan/line_scan.h"

namespace {

// Longer numbers than any probe prints are refused rather than risked in arithmetic.
constexpr size_t MAX_WHOLE_DIGITS = 7;
constexpr size_t MAX_DECIMALS = 3;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Digits only, at most three of them (the counts are at most 255).
bool readCount(const std::string& text, uint32_t& out) {
    if (text.empty() || text.size() > 3)
        return false;
    uint32_t value = 0;
    for (const char c : text) {
        if (!isDigit(c))
            return false;
        value = value * 10 + static_cast<uint32_t>(c - '0');
    }
    out = value;
    return value <= MAX_PROBE_REQUESTS;
}

// Milliseconds as the tools print them: digits, then at most three decimals after a point.
// Read digit by digit: the locale of the daemon must not decide what a point means.
bool readMs(const std::string& text, double& out) {
    const size_t point = text.find('.');
    const size_t whole = point == std::string::npos ? text.size() : point;
    const size_t decimals = point == std::string::npos ? 0 : text.size() - point - 1;
    if (whole == 0 || whole > MAX_WHOLE_DIGITS || decimals > MAX_DECIMALS ||
        (point != std::string::npos && decimals == 0))
        return false;
    uint64_t thousandths = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i == point)
            continue;
        if (!isDigit(text[i]))
            return false;
        thousandths = thousandths * 10 + static_cast<uint64_t>(text[i] - '0');
    }
    for (size_t i = decimals; i < MAX_DECIMALS; ++i)
        thousandths *= 10;
    out = static_cast<double>(thousandths) / 1000.0;
    return true;
}

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    std::string word;
    while (in >> word)
        out.push_back(word);
    return out;
}

// "uplinker-ping: sent N received M rtt_ms" followed by exactly M times.
bool readPingLine(const std::vector<std::string>& w, ProbeReport& out) {
    if (w.size() < 6 || w[0] != "uplinker-ping:" || w[1] != "sent" || w[3] != "received" ||
        w[5] != "rtt_ms" || !readCount(w[2], out.sent) || !readCount(w[4], out.received) ||
        out.received > out.sent || w.size() - 6 != out.received)
        return false;
    out.rttSumMs = 0;
    for (size_t i = 6; i < w.size(); ++i) {
        double ms = 0;
        if (!readMs(w[i], ms))
            return false;
        out.rttSumMs += ms;
    }
    return true;
}

// "inet-check: connect_ms R": one request, answered after R.
bool readConnectLine(const std::vector<std::string>& w, ProbeReport& out) {
    if (w.size() != 3 || w[0] != "inet-check:" || w[1] != "connect_ms" ||
        !readMs(w[2], out.rttSumMs))
        return false;
    out.sent = 1;
    out.received = 1;
    return true;
}

} // namespace

bool parseProbeReport(const std::string& output, ProbeReport& report) {
    const std::vector<std::string> all = wanscan::lines(output);
    for (auto line = all.rbegin(); line != all.rend(); ++line) {
        const std::vector<std::string> w = words(*line);
        ProbeReport read;
        if (readPingLine(w, read) || readConnectLine(w, read)) {
            read.measured = true;
            report = read;
            return true;
        }
    }
    return false;
}
