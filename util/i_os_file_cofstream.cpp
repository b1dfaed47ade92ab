#include "util/i_os_file_cofstream.h"

#include <utility>

#include "util/i_os_file_stream.h"
#include "util/i_trace.h"

Cofstream::Cofstream(const CharString& name) : file_name_(name) {}

Cofstream::~Cofstream() {
    close();
}

short Cofstream::save() {
    if (!stream_) open();
    saved_ = 1;
    if (stream_) return writeText();
    traceTexts("Cofstream::save: error openw", file_name_.c_str());
    return 0;
}

short Cofstream::close() {
    const short result = save();
    if (stream_) std::fclose(std::exchange(stream_, nullptr));
    return result;
}

void Cofstream::open() {
    if (saved_) stream_ = std::fopen(file_name_.c_str(), "r+");
    if (!stream_) stream_ = std::fopen(file_name_.c_str(), "w");
    // A text goes out at once; a buffer would hide a full disk, and keep what it refused.
    if (stream_) std::setvbuf(stream_, nullptr, _IONBF, 0);
}

short Cofstream::writeText() {
    if (len == 0) return 1;
    seekToEnd(stream_);
    const short result = writeItem(stream_, text.data(), text.size());
    text.clear();
    len = 0;
    return result;
}
