// Puts both contexts and a hook in place for one test, and keeps what the hook is given.
#pragma once

#include "lib/ulib/report.h"

#include <cstdio>
#include <string>

struct fake_log {
    static inline int calls = 0;
    static inline int priority = 0;
    static inline UNIQUE_DATA_T uniq{};
    static inline std::string text;  // of the last report
    static inline std::string texts; // of all of them, a newline behind each

    fake_log()
    {
        calls = 0;
        text.clear();
        texts.clear();
        // The contexts are only passed on: any address does.
        servContext = reinterpret_cast<CServiceContext *>(&calls);
        connContext = reinterpret_cast<CConnectionContext *>(&calls);
        report_hook = take;
    }

    ~fake_log()
    {
        servContext = nullptr;
        connContext = nullptr;
        report_hook = nullptr;
    }

    fake_log(const fake_log &) = delete;
    fake_log &operator=(const fake_log &) = delete;

    __attribute__((format(printf, 5, 0))) static void take(CServiceContext *, CConnectionContext *,
                                                           const UNIQUE_DATA_T &data, int level,
                                                           const char *format, va_list args)
    {
        char line[4096];
        std::vsnprintf(line, sizeof line, format, args);
        ++calls;
        priority = level;
        uniq = data;
        text = line;
        texts += text + "\n";
    }
};
