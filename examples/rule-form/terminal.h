// The terminal while a form uses it: curses on, signals that would leave it in disorder caught,
// and everything restored on the way out.
#pragma once

// One at a time. Its destructor gives the terminal back as it was.
class form_terminal
{
  public:
    form_terminal();
    ~form_terminal();
    form_terminal(const form_terminal &) = delete;
    form_terminal &operator=(const form_terminal &) = delete;

    // Gives the terminal back before the object goes; it is not usable from then on.
    void give_back();

    // False when the standard streams are no terminal, or one that curses does not know.
    bool usable() const { return running_; }

    // The signal that asked the program to end, 0 for none. From then on input has ended, so that
    // the form does too.
    static int interrupted();

  private:
    bool running_ = false;
};

// Ends the program by `signal` as if it had never been caught. Call it once the terminal has been
// given back.
void die_of(int signal);
