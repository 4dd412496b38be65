#include "lib/screen/keys.h"

#include "tests/screen/terminal.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using std::string_literals::operator""s;

// A pause, and the bytes after it.
using burst = std::pair<std::chrono::milliseconds, std::string>;

} // namespace

// Input ends after the bytes. Only what an escape may begin is waited for, about a second a byte.
TEST(Keys, BytesBecomeKeysInTime)
{
    static const struct {
        std::vector<burst> input;
        std::vector<int> keys; // up to the end of input
    } cases[] = {
        {{{0ms, "\x10\x0e\x06\x02\x09\x04\x0d\n"}}, {1000, 1001, 1002, 1003, 1005, 1009, 10, 10}},
        {{{0ms, "a \x01\x7f\x80\xff\0"s}}, {'a', ' ', 1, 127, 128, 255, 0}},
        // The last letter alone decides.
        {{{0ms, "\x1b[A\x1bOB\x1b[1;5C\x1b\x1b[D\x1bxC"}}, {1000, 1001, 1002, 1003, 1002}},
        {{{0ms, "\x1b"}, {900ms, "["}, {900ms, "A"}}, {1000}},
        {{{0ms, "\x1b"}, {1400ms, "A"}}, {27, 'A'}},
        {{{0ms, "\x1b[Z"}, {1400ms, "A"}}, {27, '[', 'Z', 'A'}},
        {{{0ms, "\x1b!2345"}}, {27, '!', '2', '3', '4', '5', 255}},
        {{{0ms, "\x1b!23456\x10"}}, {27, '!', '2', '3', '4', '5', '6', 1000}},
        {{{0ms, "\x1b\x10\x0d\x09\x0c\x1bzA"}}, {27, 16, 13, 9, 12, 27, 'z', 'A'}},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.input[0].second);
        typed_keys keys;
        auto at_most = 900ms;
        for (const burst &part : one.input)
            at_most += part.first;
        const auto begin = std::chrono::steady_clock::now();
        std::thread person([&] {
            for (const auto &[pause, bytes] : one.input) {
                std::this_thread::sleep_for(pause);
                keys.type(bytes);
            }
            keys.end();
        });
        std::vector<int> got;
        for (int key; (key = sc_mapkey()) != SC_KEY_END;)
            got.push_back(key);
        EXPECT_LE(std::chrono::steady_clock::now() - begin, at_most);
        person.join();
        EXPECT_EQ(got, one.keys);
    }
}

// A size change between keys asks for a repaint and disturbs no escape sequence. Any other signal
// ends the read, so that an application can end its form.
TEST(Keys, SizeChangeRepaints)
{
    struct sigaction caught = {}, before = {};
    caught.sa_handler = [](int) {};
    for (const int signal : {SIGWINCH, SIGUSR1}) {
        SCOPED_TRACE(signal);
        ASSERT_EQ(sigaction(signal, &caught, &before), 0);
        typed_keys keys;
        std::thread person([&, reader = pthread_self()] {
            for (const char *bytes : {"\x1b", "[A"}) {
                std::this_thread::sleep_for(50ms);
                pthread_kill(reader, signal);
                std::this_thread::sleep_for(50ms);
                keys.type(bytes);
            }
        });
        if (signal == SIGWINCH) {
            EXPECT_EQ(sc_mapkey(), SC_KEY_REDRAW);
            EXPECT_EQ(sc_mapkey(), SC_KEY_UP);
        } else {
            EXPECT_EQ(sc_mapkey(), SC_KEY_END);
        }
        person.join();
        sigaction(signal, &before, nullptr);
    }
}
