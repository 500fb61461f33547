#include "etabulon/values/ETabulonValue.h"

namespace etabulon {

namespace {

constinit const detail::ENeverDestroyed<ETabulonValue> nullValue{ETabulonValue::ValNull};
constinit const detail::ENeverDestroyed<ETabulonValue> specialValue{ETabulonValue::ValSpecial};

}  // namespace

constinit const ETabulonValue& ETabulonValue::Null = nullValue.value;
constinit const ETabulonValue& ETabulonValue::Special = specialValue.value;

ETabulonValue::ETabulonValue(const EVariant& data, const Chaine& display, bool modified)
    : modified_(modified) {
    if (data.IsMissing()) {
        return;
    }
    status_ = ValNormal;
    data_ = data;
    display_ = display;
    displayPending_ = display.IsEmpty();
}

ETabulonValue::ETabulonValue(const ETabulonValue& other)
    : status_(other.status_),
      modified_(other.modified_),
      displayPending_(other.displayPending_),
      data_(other.data_),
      display_(other.displayPending_ ? Chaine() : other.display_) {}

ETabulonValue& ETabulonValue::operator=(const ETabulonValue& other) {
    data_ = other.data_;
    display_ = other.display_;
    status_ = other.status_;
    modified_ = other.modified_;
    displayPending_ = other.displayPending_;
    return *this;
}

void ETabulonValue::SetData(const EVariant& data) {
    data_ <<= data;
    status_ = ValNormal;
}

int ETabulonValue::Compare(const ETabulonValue& other, bool byDisplay) const {
    if (status_ == ValNull) {
        return other.status_ == ValNull ? 0 : -1;
    }
    if (other.status_ == ValNull) {
        return 1;
    }
    if (status_ == ValSpecial) {
        return other.status_ == ValSpecial ? 0 : -1;
    }
    if (other.status_ == ValSpecial) {
        return 1;
    }
    return byDisplay ? DisplayValue().ComparePlain(other.DisplayValue())
                     : EVariant::Compare(data_, other.data_);
}

bool ETabulonValue::HasSameDisplay(const ETabulonValue& other) const {
    // Identical data make one text. Equality isn't enough: folded texts and the two zeros are equal
    // and display differently.
    if (displayPending_ && other.displayPending_ && data_.IsIdenticalTo(other.data_)) {
        return true;
    }
    return DisplayText() == other.DisplayText();
}

bool ETabulonValue::IsIdenticalTo(const ETabulonValue& other) const {
    return status_ == other.status_ && modified_ == other.modified_ &&
           data_.IsIdenticalTo(other.data_) &&
           ((displayPending_ && other.displayPending_) || DisplayText() == other.DisplayText());
}

std::uint32_t ETabulonValue::Hash() const noexcept {
    return status_ == ValNull ? SaltOf(status_) : SaltOf(status_) ^ data_.Hash();
}

void ETabulonValue::TakeData(const EVariant& data) {
    modified_ = false;
    data_ = data;
    displayPending_ = !data_.IsMissing();
    status_ = displayPending_ ? ValNormal : ValNull;
    if (status_ == ValNull) {
        data_ = EVariant();
    }
}

void ETabulonValue::Refill(const EVariant& data) {
    TakeData(data);
    if (!display_.IsEmpty()) {
        display_ = Chaine();
    }
}

void ETabulonValue::Refill(const EVariant& data, const Chaine& display) {
    if (data.IsMissing() || display.IsEmpty()) {
        Refill(data);
        return;
    }
    TakeData(data);
    display_ = display;
    displayPending_ = false;
}

void ETabulonValue::MakeDisplay() const {
    display_ = data_.AsChaine();
    displayPending_ = false;
}

}  // namespace etabulon
