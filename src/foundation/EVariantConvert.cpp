#include "etabulon/foundation/EVariant.h"
#include "foundation/EDates.h"
#include "foundation/EVariantAccess.h"
#include "foundation/EVariantNumber.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <system_error>

namespace etabulon {
namespace {

constexpr std::size_t kGuidBytes = 16;

// The natural bytes of a fixed-size value on their way into a cell.
class EImage {
public:
    template <class T>
    bool Put(T value) noexcept {
        std::memcpy(bytes_.data(), &value, sizeof value);
        return true;
    }
    template <class T>
    bool PutClamped(EWide number) noexcept {
        return Put(ClampTo<T>(number));
    }
    [[nodiscard]] unsigned char* Bytes() noexcept { return bytes_.data(); }

private:
    std::array<unsigned char, kGuidBytes> bytes_{};
};

float NarrowToFloat(double number) noexcept {
    constexpr double kMost = std::numeric_limits<float>::max();
    if (std::isfinite(number) && std::fabs(number) > kMost) {
        return static_cast<float>(std::copysign(kMost, number));
    }
    return static_cast<float>(number);
}

// Parses a float directly: by way of a double the number would be rounded twice.
bool ParseFloat(std::string_view text, float& number) noexcept {
    text = TrimBlanks(text);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

bool PutWhole(const ETypeInfo& target, EWide number, EImage& image) noexcept {
    switch (target.storage) {
        case EStorage::Int8:
            return image.PutClamped<std::int8_t>(number);
        case EStorage::Int16:
            return image.PutClamped<std::int16_t>(number);
        case EStorage::Int32:
        case EStorage::Scaled32:
            return image.PutClamped<std::int32_t>(number);
        case EStorage::Int64:
        case EStorage::Scaled64:
            return image.PutClamped<std::int64_t>(number);
        case EStorage::UInt8:
        case EStorage::Bool:
            return image.PutClamped<std::uint8_t>(number);
        case EStorage::UInt16:
            return image.PutClamped<std::uint16_t>(number);
        case EStorage::UInt32:
            return image.PutClamped<std::uint32_t>(number);
        default:
            return image.PutClamped<std::uint64_t>(number);
    }
}

bool ToNumber(const ETypeInfo& target, const EContent& source, EImage& image) noexcept {
    const bool text = source.info->valueClass == EValueClass::Text;
    const bool isFloat = target.storage == EStorage::Float;
    if (isFloat || target.storage == EStorage::Double) {
        float narrow = 0;
        if (isFloat && text && ParseFloat(TextOf(source), narrow)) {
            return image.Put(narrow);
        }
        const ENumber number =
            text ? ParseNumber(TextOf(source), /*floating=*/true) : ReadNumber(source);
        if (number.IsNone()) {
            return false;
        }
        const double wide = number.ToDouble();
        return isFloat ? image.Put(NarrowToFloat(wide)) : image.Put(wide);
    }
    const ENumber number = NumberOf(source);
    if (number.IsNone() || number.IsNaN()) {
        return false;
    }
    return PutWhole(target, number.AtScale(target.scale), image);
}

bool NumberToDate(const ETypeInfo& target, const ENumber& number, EImage& image) noexcept {
    if (number.IsNone() || number.IsNaN()) {
        return false;
    }
    const EWide whole = number.AtScale(0);
    switch (target.storage) {
        case EStorage::Date: {
            // The number is taken as yyyymmdd, and must be a day.
            const auto date = ClampTo<std::int32_t>(whole);
            std::int64_t day = 0;
            return DayOfDate(date, day) && image.Put(date);
        }
        case EStorage::Time:
            return image.PutClamped<std::int32_t>(whole);
        default:
            return image.PutClamped<std::int64_t>(whole);
    }
}

bool TextToDate(const ETypeInfo& target, std::string_view text, EImage& image) noexcept {
    text = TrimBlanks(text);
    std::int64_t wide = 0;
    std::int32_t date = 0;
    switch (target.storage) {
        case EStorage::Date:
            return ParseDate(text, date) && image.Put(date);
        case EStorage::Time:
            return ParseTime(text, wide) && image.PutClamped<std::int32_t>(wide);
        default:
            return ParseTimestamp(text, wide) && image.Put(wide);
    }
}

// Between dates and timestamps, and from a timestamp to its time. A time alone has no day, and a
// date no time.
bool DateToDate(const ETypeInfo& target, const EContent& source, EImage& image) noexcept {
    std::int64_t day = 0;
    std::int32_t date = 0;
    if (source.info->storage == EStorage::Date) {
        return target.storage == EStorage::Timestamp && DayOfDate(source.As<std::int32_t>(), day) &&
               image.Put(day * kMillisecondsPerDay);
    }
    if (source.info->storage != EStorage::Timestamp) {
        return false;
    }
    const auto timestamp = source.As<std::int64_t>();
    day = DayOfTimestamp(timestamp);
    if (target.storage == EStorage::Date) {
        return DateOfDay(day, date) && image.Put(date);
    }
    const EWide midnight = EWide{day} * kMillisecondsPerDay;
    return image.PutClamped<std::int32_t>(timestamp - midnight);
}

bool ToDate(const ETypeInfo& target, const EContent& source, EImage& image) noexcept {
    switch (source.info->valueClass) {
        case EValueClass::Number:
            return NumberToDate(target, ReadNumber(source), image);
        case EValueClass::Text:
            return TextToDate(target, TextOf(source), image);
        case EValueClass::Date:
            if (source.info->storage == target.storage) {
                std::memcpy(image.Bytes(), source.bytes, target.naturalSize);
                return true;
            }
            return DateToDate(target, source, image);
        default:
            return false;
    }
}

int HexDigit(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char small = static_cast<char>(c | 0x20);
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

bool ParseGuid(std::string_view text, unsigned char* bytes) noexcept {
    constexpr std::size_t kLength = 36;
    text = TrimBlanks(text);
    if (text.size() != kLength) {
        return false;
    }
    std::size_t index = 0;
    for (std::size_t i = 0; i < kGuidBytes; ++i) {
        const bool hyphen = i == 4 || i == 6 || i == 8 || i == 10;
        if (hyphen && text[index++] != '-') {
            return false;
        }
        const int high = HexDigit(text[index]);
        const int low = HexDigit(text[index + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes[i] = static_cast<unsigned char>(high * 16 + low);
        index += 2;
    }
    return true;
}

bool ToGuid(const EContent& source, EImage& image) noexcept {
    if (source.info->valueClass == EValueClass::Text) {
        return ParseGuid(TextOf(source), image.Bytes());
    }
    if (source.info->valueClass != EValueClass::Bytes || source.count != kGuidBytes) {
        return false;
    }
    std::memcpy(image.Bytes(), source.bytes, kGuidBytes);
    return true;
}

// Raises the letters of ASCII, and those of Latin-1 in UTF-8. The table of the folded order would
// corrupt characters of three bytes, and a value must stay valid text.
bool ToCapitals(std::string_view text, Chaine& capitals) {
    constexpr unsigned char kLatinLead = 0xC3;
    std::size_t changed = 0;
    unsigned char before = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool latin =
            before == kLatinLead && byte >= 0xA0 && byte <= 0xBE && byte != 0xB7;  // not the ÷
        before = byte;
        if ((byte >= 'a' && byte <= 'z') || latin) {
            capitals.Append(text.substr(changed, i - changed));
            capitals.Append(static_cast<char>(byte - 0x20));
            changed = i + 1;
        }
    }
    if (changed == 0) {
        return false;
    }
    capitals.Append(text.substr(changed));
    return true;
}

void PutText(EVariant& cell, std::string_view text, Chaine::Body* body) {
    const ETypeInfo& target = EVariantAccess::Info(cell);
    Chaine capitals;
    if (target.capitals && ToCapitals(text, capitals)) {
        text = capitals.View();
        body = capitals.GetBody();
    }
    if (!target.IsSlot()) {
        EVariantAccess::PutSized(
            cell, target.storage == EStorage::ZText ? text.substr(0, text.find('\0')) : text);
    } else if (body != nullptr) {
        EVariantAccess::PutBody(cell, body);
    } else {
        EVariantAccess::PutOwned(cell, text);
    }
}

bool ToText(EVariant& cell, const EContent& source) {
    switch (source.info->valueClass) {
        case EValueClass::Text:
            PutText(cell, TextOf(source), source.body);
            return true;
        case EValueClass::Bytes:
            if (!source.info->IsFixedSize()) {
                return false;
            }
            break;
        default:
            break;
    }
    PutText(cell, EPrinter(source).View(), nullptr);
    return true;
}

bool ToBytes(EVariant& cell, const EContent& source) {
    const EValueClass from = source.info->valueClass;
    if (from != EValueClass::Bytes && from != EValueClass::Text) {
        return false;
    }
    if (!EVariantAccess::Info(cell).IsSlot()) {
        EVariantAccess::PutSized(cell, from == EValueClass::Text ? TextOf(source) : source.Raw());
    } else if (source.body != nullptr) {
        EVariantAccess::PutBody(cell, source.body);
    } else {
        EVariantAccess::PutOwned(cell, from == EValueClass::Text ? TextOf(source) : source.Raw());
    }
    return true;
}

}  // namespace

std::string_view TextOf(const EContent& text) noexcept {
    const std::string_view all = text.Raw();
    switch (text.info->storage) {
        case EStorage::ZText:
            return all.substr(0, all.find('\0'));
        case EStorage::BlankText: {
            // A record that was cleared to zero holds the empty text as well.
            const std::size_t last = all.find_last_not_of(std::string_view(" \0", 2));
            return last == std::string_view::npos ? std::string_view() : all.substr(0, last + 1);
        }
        default:
            return all;
    }
}

void EVariantAccess::Convert(EVariant& cell, const EContent& source) {
    const ETypeInfo& target = Info(cell);
    EImage image;
    bool done = false;
    switch (target.valueClass) {
        case EValueClass::Text:
            done = ToText(cell, source);
            break;
        case EValueClass::Number:
            done = ToNumber(target, source, image);
            break;
        case EValueClass::Date:
            done = ToDate(target, source, image);
            break;
        default:
            done = target.IsFixedSize() ? ToGuid(source, image) : ToBytes(cell, source);
            break;
    }
    if (!done) {
        cell.SetMissing();
    } else if (target.IsFixedSize()) {
        PutFixed(cell, image.Bytes());
    }
}

Chaine EVariant::AsChaine() const {
    const EContent content = EVariantAccess::Read(*this);
    if (content.IsMissing()) {
        return {};
    }
    if (content.info->valueClass == EValueClass::Text) {
        return content.body != nullptr ? Chaine::Share(content.body) : Chaine(TextOf(content));
    }
    return Chaine(EPrinter(content).View());
}

std::string_view EVariant::AsText(TextBuffer& buffer, Chaine& holder) const {
    const EContent content = EVariantAccess::Read(*this);
    if (content.IsMissing()) {
        return {};
    }
    if (content.info->valueClass == EValueClass::Text) {
        return TextOf(content);
    }
    const EPrinter printer(content);
    const std::string_view printed = printer.View();
    if (printed.size() > buffer.size()) {
        holder = Chaine(printed);
        return holder.View();
    }
    std::copy(printed.begin(), printed.end(), buffer.begin());
    return {buffer.data(), printed.size()};
}

std::uint64_t EVariant::AsUInt64() const noexcept {
    const ENumber number = NumberOf(EVariantAccess::Read(*this));
    return number.IsNone() || number.IsNaN() ? 0 : ClampTo<std::uint64_t>(number.AtScale(0));
}

std::int64_t EVariant::AsInt64() const noexcept {
    if (const void* bytes = rep_ == TYPE_INT64 ? GetBuffer() : nullptr; bytes != nullptr) {
        std::int64_t number = 0;
        std::memcpy(&number, bytes, sizeof number);
        return number;
    }
    const EContent content = EVariantAccess::Read(*this);
    if (rep_ == TYPE_LONG) {
        return content.IsMissing() ? 0 : content.As<std::int32_t>();
    }
    const ENumber number = NumberOf(content);
    return number.IsNone() || number.IsNaN() ? 0 : ClampTo<std::int64_t>(number.AtScale(0));
}

double EVariant::AsDouble() const noexcept {
    if (const void* bytes = rep_ == TYPE_DOUBLE ? GetBuffer() : nullptr; bytes != nullptr) {
        double number = 0;
        std::memcpy(&number, bytes, sizeof number);
        return number;
    }
    const EContent content = EVariantAccess::Read(*this);
    if (content.IsMissing()) {
        return 0;
    }
    const ENumber number = content.info->valueClass == EValueClass::Text
                               ? ParseNumber(TextOf(content), /*floating=*/true)
                               : ReadNumber(content);
    return number.IsNone() ? 0 : number.ToDouble();
}

}  // namespace etabulon
