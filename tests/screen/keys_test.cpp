#include "lib/screen/keys.h"

#include "tests/screen/terminal.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using std::string_literals::operator""s;

struct burst {
    std::chrono::milliseconds pause; // before the bytes
    std::string bytes;
};

struct key_case {
    const char *label;
    std::vector<burst> input; // then input ends
    std::vector<int> keys;    // up to the end of input
    std::chrono::milliseconds at_least = 0ms, at_most = 900ms;
};

const key_case cases[] = {
    {"control keys",
     {{0ms, "\x10\x0e\x06\x02\x09\x04\x0d\n"}},
     {1000, 1001, 1002, 1003, 1005, 1009, 10, 10}},
    {"bytes are themselves", {{0ms, "a \x01\x7f\x80\xff\0"s}}, {'a', ' ', 1, 127, 128, 255, 0}},
    {"arrows", {{0ms, "\x1b[A\x1bOB\x1b[C\x1bOD"}}, {1000, 1001, 1002, 1003}},
    {"letter alone after escape",
     {{0ms, "\x1b"
            "A\x1b"
            "B"}},
     {1000, 1001}},
    {"the last letter decides", {{0ms, "\x1b[1;5C\x1b\x1b[D\x1bxC"}}, {1002, 1003, 1002}},
    {"a slow arrow", {{0ms, "\x1b"}, {300ms, "["}, {300ms, "A"}}, {1000}, 600ms},
    {"end after escape", {{0ms, "\x1b"}}, {27, 255}},
    {"end within a sequence", {{0ms, "\x1bx"}}, {27, 'x', 255}},
    {"end as the sixth",
     {{0ms, "\x1b"
            "12345"}},
     {27, '1', '2', '3', '4', '5', 255}},
    {"six bytes, no wait",
     {{0ms, "\x1b"
            "123456\x10"}},
     {27, '1', '2', '3', '4', '5', '6', 1000},
     0ms,
     900ms},
    {"held bytes are plain",
     {{0ms, "\x1b\x10\x0d\x09\x0c\x1bzA"}},
     {27, 16, 13, 9, 12, 27, 'z', 'A'}},
    {"cut by time", {{0ms, "\x1b[Z"}, {1300ms, "A"}}, {27, '[', 'Z', 'A'}, 950ms, 1900ms},
    {"cut before its letter", {{0ms, "\x1b["}, {1300ms, "A"}}, {27, '[', 'A'}, 950ms, 1900ms},
};

} // namespace

TEST(Keys, BytesBecomeKeysInTime)
{
    for (const key_case &one : cases) {
        SCOPED_TRACE(one.label);
        CKeys keys;
        std::thread person([&] {
            for (const burst &part : one.input) {
                std::this_thread::sleep_for(part.pause);
                keys.type(part.bytes);
            }
            keys.end();
        });
        const auto begin = std::chrono::steady_clock::now();
        std::vector<int> got;
        for (int key; (key = sc_mapkey()) != SC_KEY_END;)
            got.push_back(key);
        const auto took = std::chrono::steady_clock::now() - begin;
        person.join();
        EXPECT_EQ(got, one.keys);
        EXPECT_GE(took, one.at_least);
        EXPECT_LE(took, one.at_most);
    }
}

// The wait is per byte and ends with the byte, and a lone escape is told while input is still
// open: the key itself is what arrives after the limit, not only the end of input.
TEST(Keys, EscapeComesAfterItsLimit)
{
    const CKeys keys("\x1b");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sc_mapkey(), SC_KEY_ESCAPE);
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, 1000ms);
    EXPECT_LE(took, 1500ms);
}

TEST(Keys, TimedByteTellsItsThreeOutcomes)
{
    CKeys keys("\xfe");
    EXPECT_EQ(sc_getbyte_timed(), 0xfe);
    EXPECT_EQ(sc_getbyte_timed(), SC_TIMED_OUT);
    keys.end();
    EXPECT_EQ(sc_getbyte_timed(), -1);
}

TEST(Keys, BeepRingsTheBell)
{
    CBells bells;
    sc_beep();
    sc_beep();
    EXPECT_EQ(bells.count(), 2);
}

// Curses catches the signal of a size change so that calls do not go on after it.
TEST(Keys, SizeChangeDisturbsNoRead)
{
    struct sigaction caught = {}, before = {};
    caught.sa_handler = [](int) {};
    for (const int signal : {SIGWINCH, SIGUSR1}) {
        SCOPED_TRACE(signal);
        ASSERT_EQ(sigaction(signal, &caught, &before), 0);
        CKeys keys;
        std::thread person([&, reader = pthread_self()] {
            std::this_thread::sleep_for(50ms);
            pthread_kill(reader, signal);
            std::this_thread::sleep_for(50ms);
            keys.type("\x1b");
            std::this_thread::sleep_for(50ms);
            pthread_kill(reader, signal);
            std::this_thread::sleep_for(50ms);
            keys.type("[A");
        });
        // Any other signal ends the read, so that an application can end its form.
        EXPECT_EQ(sc_mapkey(), signal == SIGWINCH ? SC_KEY_UP : SC_KEY_END);
        person.join();
        sigaction(signal, &before, nullptr);
    }
}
