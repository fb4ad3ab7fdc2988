// Guarded logging: the message is formatted only when its level is let through.
#pragma once

#include <string>

#include "support/logger.h"

#define UPL_LOG(LEVEL, ...)                                                                        \
    do {                                                                                           \
        if (VRX::Logger::isPrintable(VRX::Logger::PrintLevel::LEVEL##_LEVEL))                      \
            VRX::Logger::printfGeneric(VRX::Logger::PrintLevel::LEVEL##_LEVEL,                     \
                                       VRX::Logger::PrintLevel::LEVEL##_LABEL, __VA_ARGS__);       \
    } while (0)

#define LOG_TRACE(...) UPL_LOG(TRACE, __VA_ARGS__)
#define LOG_DEBUG(...) UPL_LOG(DEBUG, __VA_ARGS__)
#define LOG_INFO(...) UPL_LOG(INFO, __VA_ARGS__)
#define LOG_WARNING(...) UPL_LOG(WARNING, __VA_ARGS__)
#define LOG_ERROR(...) UPL_LOG(ERROR, __VA_ARGS__)
#define LOG_FATAL(...) UPL_LOG(FATAL, __VA_ARGS__)

// Messages about one interface begin with its name and "| "; the name is a std::string (a
// Wan's ifname, a configuration's name) or a C string.
inline const char* logName(const std::string& name) {
    return name.c_str();
}
inline const char* logName(const char* name) {
    return name;
}
#define LOG_WAN(LEVEL, name, format, ...)                                                          \
    UPL_LOG(LEVEL, "%s| " format, logName(name), ##__VA_ARGS__)
