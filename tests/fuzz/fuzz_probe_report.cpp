// Any bytes as a probe's output: a report is read only when it is whole and consistent, and
// one that is read feeds a quality window without breaking what the window promises.
#include <string>

#include "fuzz_util.h"
#include "wan/quality_window.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string output(reinterpret_cast<const char*>(data), size);
    ProbeReport report;
    if (!parseProbeReport(output, report)) {
        FUZZ_CHECK(report.sent == 0 && report.received == 0 && !report.measured);
        return 0;
    }
    FUZZ_CHECK(report.measured && report.received <= report.sent);
    FUZZ_CHECK(report.sent <= MAX_PROBE_REQUESTS && report.rttSumMs >= 0);
    QualityWindow window;
    window.add(report);
    window.add(report);
    FUZZ_CHECK(window.requests() == std::min<size_t>(2 * report.sent, QualityWindow::CAPACITY));
    const double loss = window.lossPercent();
    FUZZ_CHECK(loss >= 0 && loss <= 100);
    double latency = -1;
    FUZZ_CHECK(window.meanLatencyMs(latency) == (report.received > 0));
    return 0;
}
