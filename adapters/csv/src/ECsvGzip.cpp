#include "ECsvGzip.h"

#include <algorithm>
#include <new>

namespace etabulon {

#ifdef ETABULON_HAS_ZLIB

namespace {

constexpr std::size_t kPackedBytes = std::size_t{1} << 16;
constexpr int kGzipOnly = 15 + 16;  // windows of any size, with gzip's header and checksum

}  // namespace

std::unique_ptr<ECsvInput::Gzip> ECsvInput::Gzip::Make() {
    return std::unique_ptr<Gzip>(new Gzip());
}

ECsvInput::Gzip::Gzip() : packed_(new Bytef[kPackedBytes]) {
    if (inflateInit2(&stream_, kGzipOnly) != Z_OK) {
        throw std::bad_alloc();
    }
}

ECsvInput::Gzip::~Gzip() { inflateEnd(&stream_); }

void ECsvInput::Gzip::Rewind() noexcept {
    isWithin_ = false;
    stream_.avail_in = 0;
}

bool ECsvInput::Gzip::Fill(ECsvInput& file) {
    std::size_t count = 0;
    const bool isRead = file.ReadRaw(reinterpret_cast<char*>(packed_.get()), kPackedBytes, count);
    stream_.next_in = packed_.get();
    stream_.avail_in = static_cast<uInt>(count);
    return isRead;
}

/// Begins the next member, or finds the end.
bool ECsvInput::Gzip::BeginMember(ECsvInput& file, bool& isEnd) {
    for (;;) {
        if (stream_.avail_in == 0 && !Fill(file)) {
            return false;
        }
        if (stream_.avail_in == 0) {
            isEnd = true;
            return true;
        }
        if (*stream_.next_in != 0) {
            break;
        }
        ++stream_.next_in;
        --stream_.avail_in;
    }
    if (*stream_.next_in != static_cast<Bytef>(kMagic[0])) {
        file.problem_ = "other bytes follow its gzip data: pack it again";
        return false;
    }
    inflateReset(&stream_);
    isWithin_ = true;
    return true;
}

/// Unpacks some of a member.
bool ECsvInput::Gzip::Inflate(ECsvInput& file) {
    if (stream_.avail_in == 0 && !Fill(file)) {
        return false;
    }
    const bool isAtEnd = stream_.avail_in == 0;
    switch (inflate(&stream_, Z_NO_FLUSH)) {
        case Z_STREAM_END:
            isWithin_ = false;
            return true;
        case Z_OK:
            return true;
        case Z_BUF_ERROR:
            if (!isAtEnd) {
                return true;
            }
            file.problem_ = "its gzip data are cut off: copy or download the file again";
            return false;
        case Z_MEM_ERROR:
            throw std::bad_alloc();
        default:
            file.problem_ = "its gzip data are damaged: copy or download the file again";
            return false;
    }
}

bool ECsvInput::Gzip::Read(ECsvInput& file, char* to, std::size_t size, std::size_t& count) {
    constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;  // zlib counts in 32 bits
    bool isEnd = false;
    count = 0;
    while (count < size && !isEnd) {
        if (!isWithin_) {
            if (!BeginMember(file, isEnd)) {
                return false;
            }
            continue;
        }
        const std::size_t some = std::min(size - count, kMostAtOnce);
        stream_.next_out = reinterpret_cast<Bytef*>(to + count);
        stream_.avail_out = static_cast<uInt>(some);
        const bool isUnpacked = Inflate(file);
        count += some - stream_.avail_out;
        if (!isUnpacked) {
            return false;
        }
    }
    return true;
}

#else

std::unique_ptr<ECsvInput::Gzip> ECsvInput::Gzip::Make() { return nullptr; }

ECsvInput::Gzip::~Gzip() = default;

void ECsvInput::Gzip::Rewind() noexcept {}

bool ECsvInput::Gzip::Read(ECsvInput& /*file*/, char* /*to*/, std::size_t /*size*/,
                           std::size_t& /*count*/) {
    return false;
}

#endif

}  // namespace etabulon
