// Lines of KEY=VALUE on their way to the standard output: as they are, or fit for a terminal, where
// nothing of them drives it and secrets are hidden.
#pragma once

#include <string>
#include <string_view>

class setting_output
{
  public:
    explicit setting_output(bool is_revealed);

    // Bytes of the text; a line may come in several parts.
    void take(std::string_view bytes);

  private:
    bool is_terminal_;
    bool is_revealed_;
    std::string line_; // begun
};
