#include "flatctl/common/json_write.h"

#include "flatctl/common/text_write.h"

json_writer::json_writer(std::FILE *stream, std::string_view schema)
    : stream_(stream), is_own_(!schema.empty())
{
    std::fputc('{', stream_);
    if (is_own_)
        text("schema", "flatctl/" + std::string(schema));
}

void json_writer::put_text(std::string_view value)
{
    std::string quoted = "\"";
    for (const char c : value) {
        const unsigned byte = static_cast<unsigned char>(c);
        saw_latin1_ = saw_latin1_ || byte > 127;
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (const std::string plain = shown({&c, 1}); plain[0] == '\\') {
            quoted += "\\u00" + plain.substr(2); // from \xNN
        } else {
            quoted += plain;
        }
    }
    quoted += '"';
    std::fwrite(quoted.data(), 1, quoted.size(), stream_);
}

void json_writer::begin_value(std::string_view name)
{
    if (!is_first_)
        std::fputc(',', stream_);
    is_first_ = false;
    if (name.empty())
        return;
    put_text(name);
    std::fputc(':', stream_);
}

json_writer &json_writer::text(std::string_view name, std::string_view value)
{
    begin_value(name);
    put_text(value);
    return *this;
}

json_writer &json_writer::number(std::string_view name, std::int64_t value)
{
    begin_value(name);
    std::fputs(std::to_string(value).c_str(), stream_);
    return *this;
}

json_writer &json_writer::boolean(std::string_view name, bool value)
{
    begin_value(name);
    std::fputs(value ? "true" : "false", stream_);
    return *this;
}

json_writer &json_writer::open(std::string_view name, char bracket)
{
    begin_value(name);
    std::fputc(bracket, stream_);
    is_first_ = true;
    return *this;
}

json_writer &json_writer::close(char bracket)
{
    std::fputc(bracket, stream_);
    is_first_ = false;
    return *this;
}

void json_writer::finish()
{
    if (saw_latin1_ && is_own_)
        boolean("latin1", true);
    std::fputs("}\n", stream_);
}
