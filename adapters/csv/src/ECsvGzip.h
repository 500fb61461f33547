#pragma once

#include "etabulon/csv/ECsvInput.h"

#ifdef ETABULON_HAS_ZLIB
#include <zlib.h>
#endif

#include <memory>
#include <string>
#include <string_view>

namespace etabulon {

/// Unpacks gzip: one member or several, with zeros behind the last one, as tapes have them.
class ECsvInput::Gzip {
public:
    static constexpr std::string_view kMagic = "\x1F\x8B";

    /// Null if the library was built without zlib.
    [[nodiscard]] static std::unique_ptr<Gzip> Make();
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;
    ~Gzip();

    void Rewind() noexcept;
    /// As ECsvInput::Read, with the packed bytes from `file`, whose Problem it sets.
    [[nodiscard]] bool Read(ECsvInput& file, char* to, std::size_t size, std::size_t& count);

private:
    Gzip();
#ifdef ETABULON_HAS_ZLIB
    [[nodiscard]] bool Fill(ECsvInput& file);
    [[nodiscard]] bool BeginMember(ECsvInput& file, bool& isEnd);
    [[nodiscard]] bool Inflate(ECsvInput& file);

    bool isWithin_ = false;  // a member
    z_stream stream_{};
    std::unique_ptr<Bytef[]> packed_;
#endif
};

}  // namespace etabulon
