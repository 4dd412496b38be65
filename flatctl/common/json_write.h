// Writes JSON texts (RFC 8259) with one object on the outside. What is printed is ASCII but for
// Latin-1 letters turned to UTF-8.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

// The outermost object is opened with its first field `schema` by the constructor, and closed with
// a newline by `finish`. Bytes above 127 add the field "latin1":true to it.
class json_writer
{
  public:
    // `schema` names verb and version, such as "check/1"; empty for a format that is defined
    // elsewhere, which gets no field of ours. The stream stays the caller's.
    json_writer(std::FILE *stream, std::string_view schema);

    // A value of each kind. `name` is the field's name inside of an object, empty in an array.
    json_writer &text(std::string_view name, std::string_view value);
    json_writer &number(std::string_view name, std::int64_t value);
    json_writer &boolean(std::string_view name, bool value);
    json_writer &open(std::string_view name, char bracket); // '{' or '['
    json_writer &close(char bracket);                       // '}' or ']'

    void finish();

  private:
    void begin_value(std::string_view name);
    void put_text(std::string_view value);

    std::FILE *stream_;
    bool is_own_; // has a schema
    bool is_first_ = true;
    bool saw_latin1_ = false;
};
