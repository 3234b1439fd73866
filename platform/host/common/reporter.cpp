#include "reporter.h"

#include "line_text.h"
#include "uncancelled.h"

#include <cstdarg>
#include <exception>
#include <string>
#include <unistd.h>

namespace host {

void Reporter::set(Hook hook, void *context) {
    const std::lock_guard<std::mutex> guard(lock_);
    hook_ = hook;
    context_ = context;
}

void Reporter::line(const char *format, ...) {
    const Uncancelled uncancelled;
    Hook hook = nullptr;
    void *context = nullptr;
    {
        const std::lock_guard<std::mutex> guard(lock_);
        hook = hook_;
        context = context_;
    }
    std::va_list arguments;
    va_start(arguments, format);
    try {
        std::string text;
        std::string line;
        format_text(text, format, arguments);
        append_escaped(line, text);
        if (hook != nullptr) {
            hook(line.c_str(), context);
        } else {
            write_all(STDERR_FILENO, std::string(library_) + ": " + line + "\n");
        }
    } catch (const std::exception &) {
        write_all(STDERR_FILENO, "host platform: no memory for a report\n");
    }
    va_end(arguments);
}

} // namespace host
