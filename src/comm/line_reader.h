// Reading of text files line by line, however long a line is.
#ifndef ORVA_LINE_READER_H
#define ORVA_LINE_READER_H

#include <cstdio>
#include <cstdlib>

#include "orva_comm.h"

namespace orva {

// Owns the stream and `getline`'s buffer; the destructor releases both.
class LineReader {
public:
    explicit LineReader(FILE *file) : file_(file) {}
    ~LineReader() {
        std::free(line_);
        ORVA_FileClose(file_);
    }
    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;
    // The next line, or null.
    const char *next() {
        return getline(&line_, &size_, file_) < 0 ? nullptr : line_;
    }

private:
    FILE *file_;
    char *line_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace orva

#endif
