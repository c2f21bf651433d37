#include "uci/output.h"

#include <cstdio>
#include <mutex>
#include <streambuf>

namespace {

std::mutex outputMutex;

class LineBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        char ch = traits_type::to_char_type(c);
        if (ch == '\n') {
            sendLine(pending);
            pending.clear();
        } else {
            pending.push_back(ch);
        }
        return c;
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        for (std::streamsize i = 0; i < n; ++i) overflow(traits_type::to_int_type(s[i]));
        return n;
    }

private:
    std::string pending;
};

}  // namespace

void sendLine(const std::string& line) {
    std::string whole = line + '\n';
    std::lock_guard<std::mutex> lock(outputMutex);
    std::fwrite(whole.data(), 1, whole.size(), stdout);
    std::fflush(stdout);
}

std::ostream& consoleOut() {
    thread_local LineBuffer buffer;
    thread_local std::ostream stream(&buffer);
    return stream;
}

std::string excerpt(const std::string& text, size_t keep) {
    std::string shown;
    for (size_t i = 0; i < text.size() && shown.size() < keep; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        shown += (c < 32 || c >= 127) ? '?' : char(c);
    }
    if (text.size() > keep) shown += "... (" + std::to_string(text.size()) + " characters)";
    return "'" + shown + "'";
}
