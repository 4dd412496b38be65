#include "tests/screen/terminal.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <tuple>
#include <unistd.h>

static int must(int result)
{
    if (result < 0)
        throw std::runtime_error("the system refused a test its pipe or terminal");
    return result;
}

CKeys::CKeys(std::string_view bytes) : before(dup(STDIN_FILENO))
{
    int ends[2];
    must(pipe2(ends, O_CLOEXEC));
    must(dup2(ends[0], STDIN_FILENO));
    close(ends[0]);
    writer = ends[1];
    type(bytes);
}

CKeys::~CKeys()
{
    end();
    if (before >= 0) {
        dup2(before, STDIN_FILENO);
        close(before);
    }
}

void CKeys::type(std::string_view bytes) const
{
    must(static_cast<int>(write(writer, bytes.data(), bytes.size())));
}

void CKeys::end()
{
    if (writer >= 0)
        close(writer);
    writer = -1;
}

CBells::CBells() : before(must(dup(STDERR_FILENO)))
{
    int ends[2];
    must(pipe2(ends, O_CLOEXEC | O_NONBLOCK));
    must(dup2(ends[1], STDERR_FILENO));
    close(ends[1]);
    reader = ends[0];
}

CBells::~CBells()
{
    dup2(before, STDERR_FILENO);
    close(before);
    close(reader);
}

int CBells::count()
{
    int bells = 0;
    char byte;
    while (read(reader, &byte, 1) == 1) {
        if (byte != 7)
            return -1;
        ++bells;
    }
    return bells;
}

CScreen::CScreen(int rows, int columns)
    : cells(static_cast<std::size_t>(rows), std::vector<cell>(static_cast<std::size_t>(columns))),
      master(must(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)))
{
    must(grantpt(master));
    must(unlockpt(master));
    slave = must(open(ptsname(master), O_RDWR | O_NOCTTY));
    resize(rows, columns);
    must(tcgetattr(slave, &modes_before));
    input_before = dup(STDIN_FILENO);
    must(dup2(slave, STDIN_FILENO));
    in = fdopen(dup(slave), "r");
    out = fdopen(dup(slave), "w");
    screen = newterm("vt100", out, in);
    if (screen == nullptr)
        throw std::runtime_error("no vt100 in this machine's terminal descriptions");
    savetty();
    cbreak();
    noecho();
}

CScreen::~CScreen()
{
    endwin();
    delscreen(screen);
    (void)std::fclose(in);
    (void)std::fclose(out);
    if (input_before >= 0) {
        dup2(input_before, STDIN_FILENO);
        close(input_before);
    }
    close(slave);
    close(master);
}

void CScreen::resize(int rows, int columns)
{
    winsize size = {};
    size.ws_row = static_cast<unsigned short>(rows);
    size.ws_col = static_cast<unsigned short>(columns);
    must(ioctl(master, TIOCSWINSZ, &size));
    cells.resize(static_cast<std::size_t>(rows));
    for (auto &line : cells)
        line.resize(static_cast<std::size_t>(columns));
    region_top = 0;
    region_bottom = rows - 1;
    row = std::min(row, rows - 1);
    column = std::min(column, columns - 1);
}

void CScreen::type(std::string_view bytes) const
{
    must(static_cast<int>(write(master, bytes.data(), bytes.size())));
}

bool CScreen::as_before_curses() const
{
    termios now = {};
    must(tcgetattr(slave, &now));
    return now.c_lflag == modes_before.c_lflag && now.c_iflag == modes_before.c_iflag &&
           now.c_oflag == modes_before.c_oflag;
}

std::string CScreen::text(int which)
{
    receive();
    std::string shown;
    for (const cell &one : cells.at(static_cast<std::size_t>(which)))
        shown += one.character;
    return shown;
}

std::string CScreen::marks(int which)
{
    receive();
    std::string shown;
    for (const cell &one : cells.at(static_cast<std::size_t>(which)))
        shown += one.standout ? '#' : ' ';
    return shown;
}

std::vector<std::string> CScreen::picture()
{
    std::vector<std::string> rows;
    for (int which = 0; which < static_cast<int>(cells.size()); ++which)
        rows.push_back(text(which));
    return rows;
}

std::vector<std::string> CScreen::marks_picture()
{
    std::vector<std::string> rows;
    for (int which = 0; which < static_cast<int>(cells.size()); ++which)
        rows.push_back(marks(which));
    return rows;
}

int CScreen::cursor_row()
{
    receive();
    return row;
}

int CScreen::cursor_column()
{
    receive();
    return column;
}

void CScreen::receive()
{
    char bytes[4096];
    for (ssize_t count; (count = read(master, bytes, sizeof bytes)) > 0;)
        for (ssize_t index = 0; index < count; ++index)
            put(bytes[index]);
}

void CScreen::put(char byte)
{
    if (byte == 27) {
        in_sequence = true;
        sequence.clear();
    } else if (in_sequence) {
        command(byte);
    } else if (byte >= 32 && byte < 127) {
        if (wrap_next) {
            column = 0;
            line_feed(true);
        }
        cells[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] = {byte, standout};
        wrap_next = column + 1 == static_cast<int>(cells[0].size());
        column += wrap_next ? 0 : 1;
    } else {
        control(byte);
    }
}

void CScreen::control(char byte)
{
    switch (byte) {
    case '\0': // padding
    case 15:   // the plain character set
        return;
    case '\b':
        column = std::max(0, column - 1);
        break;
    case '\r':
        column = 0;
        break;
    case '\n':
        line_feed(true);
        break;
    default:
        unknown += "control " + std::to_string(static_cast<unsigned char>(byte)) + "; ";
    }
    wrap_next = false;
}

// Line feed and reverse line feed; at the edge of the scrolling region its lines move instead.
void CScreen::line_feed(bool down)
{
    wrap_next = false;
    if (row != (down ? region_bottom : region_top)) {
        row = std::clamp(row + (down ? 1 : -1), 0, static_cast<int>(cells.size()) - 1);
        return;
    }
    const auto top = cells.begin() + region_top;
    const auto end = cells.begin() + region_bottom + 1;
    std::rotate(top, down ? top + 1 : end - 1, end);
    blank(row, 0, static_cast<int>(cells[0].size()));
}

// The numbers of a finished sequence; one that is left out is 0.
static std::vector<int> numbers_of(const std::string &sequence)
{
    std::vector<int> numbers(1);
    for (const char byte : sequence) {
        if (byte == ';')
            numbers.push_back(0);
        else if (byte >= '0' && byte <= '9')
            numbers.back() = numbers.back() * 10 + (byte - '0');
    }
    return numbers;
}

void CScreen::blank(int which, int from, int to)
{
    for (int index = from; index < to; ++index)
        cells[static_cast<std::size_t>(which)][static_cast<std::size_t>(index)] = {};
}

// One byte of a sequence; acts on the last.
void CScreen::command(char last)
{
    sequence += last;
    if (sequence.size() == 1 && std::string_view("[()").find(last) != std::string_view::npos)
        return;
    if (sequence[0] == '[' && (last < '@' || last > '~'))
        return;
    in_sequence = false;
    const int rows = static_cast<int>(cells.size());
    const int columns = static_cast<int>(cells[0].size());
    if (sequence[0] != '[' || sequence[1] == '?') { // modes and character sets
        if (sequence == "M")
            line_feed(false);
        else if (sequence == "7")
            saved = {row, column};
        else if (sequence == "8")
            std::tie(row, column) = saved;
        return;
    }
    const std::vector<int> numbers = numbers_of(sequence);
    const int steps = std::max(1, numbers[0]);
    switch (last) {
    case 'H':
        row = std::clamp(numbers[0], 1, rows) - 1;
        column = std::clamp(numbers.size() > 1 ? numbers[1] : 1, 1, columns) - 1;
        break;
    case 'A':
        row = std::max(0, row - steps);
        break;
    case 'B':
        row = std::min(rows - 1, row + steps);
        break;
    case 'C':
        column = std::min(columns - 1, column + steps);
        break;
    case 'D':
        column = std::max(0, column - steps);
        break;
    case 'J':
        for (int below = row + 1; below < rows; ++below)
            blank(below, 0, columns);
        [[fallthrough]];
    case 'K':
        blank(row, numbers[0] == 1 ? 0 : column, numbers[0] == 1 ? column + 1 : columns);
        break;
    case 'm':
        for (const int mode : numbers)
            standout = mode == 7 || (standout && mode != 0);
        return;
    case 'r':
        region_top = std::clamp(numbers[0], 1, rows) - 1;
        region_bottom = std::clamp(numbers.size() > 1 ? numbers[1] : rows, 1, rows) - 1;
        row = column = 0;
        break;
    default:
        unknown += "sequence " + sequence + "; ";
    }
    wrap_next = false;
}
