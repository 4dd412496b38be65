#include "lib/screen/keys.h"

#include <csignal>
#include <sys/select.h>
#include <unistd.h>

namespace
{

constexpr int HELD_ROOM = 6;

// Bytes that followed an escape without forming an arrow key.
struct held_bytes {
    unsigned char bytes[HELD_ROOM] = {};
    int count = 0;
    int next = 0; // the first not yet returned
};

held_bytes held;

struct key_row {
    int byte, key;
};

constexpr key_row control_keys[] = {
    {2, SC_KEY_LEFT},   {4, SC_KEY_DELETE}, {6, SC_KEY_RIGHT}, {9, SC_KEY_TAB},
    {13, SC_KEY_ENTER}, {14, SC_KEY_DOWN},  {16, SC_KEY_UP},
};

// The last byte of an arrow key's sequence; the bytes before it do not matter.
constexpr key_row arrow_keys[] = {
    {'A', SC_KEY_UP},
    {'B', SC_KEY_DOWN},
    {'C', SC_KEY_RIGHT},
    {'D', SC_KEY_LEFT},
};

// Holds back the signal of a size change while it lives. Curses catches that signal in a way that
// breaks off a read, which would look like the end of input.
class size_signal_hold
{
  public:
    size_signal_hold()
    {
        sigset_t size_change;
        sigemptyset(&size_change);
        sigaddset(&size_change, SIGWINCH);
        pthread_sigmask(SIG_BLOCK, &size_change, &before_);
    }
    ~size_signal_hold() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    size_signal_hold(const size_signal_hold &) = delete;
    size_signal_hold &operator=(const size_signal_hold &) = delete;

  private:
    sigset_t before_;
};

volatile std::sig_atomic_t size_changed = 0;
struct sigaction handler_before = {};

// Notes the change, and lets the handler that was there before (most often that of curses) see it.
void note_size_change(int signal)
{
    size_changed = 1;
    const bool takes_number = (handler_before.sa_flags & SA_SIGINFO) == 0;
    if (takes_number && handler_before.sa_handler != SIG_DFL &&
        handler_before.sa_handler != SIG_IGN)
        handler_before.sa_handler(signal);
}

// While it lives, a change of the terminal's size breaks off a read and is told by `size_changed`.
// A change in the instant between its start and the read is seen with the next key instead.
class size_watch
{
  public:
    size_watch()
    {
        size_changed = 0;
        struct sigaction noted = {};
        noted.sa_handler = note_size_change; // without SA_RESTART: the read must end
        sigaction(SIGWINCH, &noted, &handler_before);
    }
    ~size_watch() { sigaction(SIGWINCH, &handler_before, nullptr); }
    size_watch(const size_watch &) = delete;
    size_watch &operator=(const size_watch &) = delete;
};

int read_byte()
{
    unsigned char byte = 0;
    return read(STDIN_FILENO, &byte, 1) > 0 ? byte : -1;
}

// The table's key for `byte`, or `byte` itself.
template <std::size_t rows> int translated(const key_row (&table)[rows], int byte)
{
    for (const key_row &row : table)
        if (row.byte == byte)
            return row.key;
    return byte;
}

// What the bytes after an escape make: an arrow key, or a plain escape with the bytes held.
int escape_key()
{
    while (held.count < HELD_ROOM) {
        const int byte = sc_getbyte_timed();
        if (byte == SC_TIMED_OUT)
            break;
        const int key = translated(arrow_keys, byte);
        if (key != byte) {
            held = {};
            return key;
        }
        held.bytes[held.count++] = static_cast<unsigned char>(byte);
        if (byte < 0)
            break;
    }
    return SC_KEY_ESCAPE;
}

} // namespace

int sc_mapkey()
{
    if (held.next < held.count)
        return held.bytes[held.next++];
    held = {};
    const size_watch watch;
    const int byte = read_byte();
    if (byte < 0 && size_changed != 0)
        return SC_KEY_REDRAW;
    return byte == SC_KEY_ESCAPE ? escape_key() : translated(control_keys, byte);
}

int sc_getbyte()
{
    const size_signal_hold hold;
    return read_byte();
}

int sc_getbyte_timed()
{
    const size_signal_hold hold;
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    timeval limit = {.tv_sec = 1, .tv_usec = 50};
    if (select(STDIN_FILENO + 1, &input, nullptr, nullptr, &limit) <= 0)
        return SC_TIMED_OUT;
    return sc_getbyte();
}

void sc_beep()
{
    const char bell = 7;
    // Without a terminal there is no bell to ring.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, &bell, 1);
}
