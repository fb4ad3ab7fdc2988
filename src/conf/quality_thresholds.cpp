#include "conf/quality_thresholds.h"

#include <cmath>

#include "support/log.h"

namespace {

constexpr uint32_t MAX_LOSS_PERCENT = 100;
// A reply later than this is not waited for by any probe: a higher threshold could never trip.
constexpr uint32_t MAX_LATENCY_MS = 60000;

// A whole number in low..high, or the nearest of those for a number outside them or with a
// fraction (rounded down). False for a value that is no number at all.
bool wholeNumber(const Json::Value& value, uint32_t low, uint32_t high, uint32_t& out) {
    if (!value.isNumeric())
        return false;
    const double given = std::floor(value.asDouble());
    out = !(given >= low) ? low : given > high ? high : static_cast<uint32_t>(given);
    return true;
}

bool sameNumber(const Json::Value& value, uint32_t number) {
    return value.isUInt() && value.asUInt() == number;
}

// One kind of threshold, failure and recovery. Without a usable failure threshold the kind is
// off, and a recovery threshold alone means nothing.
bool readPair(const Json::Value& active, const char* failureKey, const char* recoveryKey,
              uint32_t high, uint32_t& failure, uint32_t& recovery, const char* name) {
    const Json::Value& failureValue = active[failureKey];
    const Json::Value& recoveryValue = active[recoveryKey];
    if (failureValue.isNull()) {
        if (!recoveryValue.isNull())
            LOG_WARNING("Config: %s of %s without %s, ignored", recoveryKey, name, failureKey);
        return false;
    }
    if (!wholeNumber(failureValue, 1, high, failure)) {
        LOG_WARNING("Config: invalid %s value for %s, ignored", failureKey, name);
        return false;
    }
    if (!sameNumber(failureValue, failure))
        LOG_WARNING("Config: invalid %s value for %s, using %u", failureKey, name, failure);
    recovery = failure / 2;
    if (recoveryValue.isNull())
        return true;
    if (!wholeNumber(recoveryValue, 0, failure, recovery))
        recovery = failure / 2;
    if (!sameNumber(recoveryValue, recovery))
        LOG_WARNING("Config: invalid %s value for %s, using %u", recoveryKey, name, recovery);
    return true;
}

} // namespace

void readQualityThresholds(const Json::Value& active, WanConfig& record) {
    QualityThresholds& quality = record.quality;
    const char* name = record.name.c_str();
    quality.loss = readPair(active, "failureLoss", "recoveryLoss", MAX_LOSS_PERCENT,
                            quality.failureLoss, quality.recoveryLoss, name);
    quality.latency = readPair(active, "failureLatency", "recoveryLatency", MAX_LATENCY_MS,
                               quality.failureLatency, quality.recoveryLatency, name);
}
