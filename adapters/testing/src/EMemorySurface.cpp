#include "etabulon/testing/EMemorySurface.h"

#include <cstdio>
#include <utility>

namespace etabulon {
namespace {

std::string Text(const ERect& rect) {
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + "," +
           std::to_string(rect.right) + "," + std::to_string(rect.bottom);
}

std::string Hex(std::uint32_t number) {
    char text[9];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned int>(number));
    return text;
}

}  // namespace

void EMemorySurface::FillRect(const ERect& rect, EColour colour) {
    log_ += "fill " + Text(rect) + " " + Hex(colour) + "; ";
}

void EMemorySurface::DrawText(const Chaine& text, const ERect& rect, std::uint32_t flags) {
    log_ += "text '" + std::string(text.View()) + "' " + Text(rect) + " " + Hex(flags) + "; ";
}

ERect EMemorySurface::MeasureText(const Chaine& text, const ERect& rect, std::uint32_t flags) {
    log_ += "measure '" + std::string(text.View()) + "' " + Hex(flags) + "; ";
    return {rect.left, rect.top, rect.right, rect.top + 10};
}

void EMemorySurface::DrawLine(EPoint from, EPoint to, EColour colour) {
    log_ += "line " + Text({from.x, from.y, to.x, to.y}) + " " + Hex(colour) + "; ";
}

EColour EMemorySurface::SetTextColour(EColour colour) {
    log_ += "colour " + Hex(colour) + "; ";
    return std::exchange(textColour_, colour);
}

void EMemorySurface::SelectFont(HFONT font) { log_ += font != nullptr ? "font; " : "font null; "; }

void EMemorySurface::SetClip(const ERect& rect) { log_ += "clip " + Text(rect) + "; "; }

void EMemorySurface::SetOrigin(EPoint origin) {
    origin_ = origin;
    log_ += "origin " + std::to_string(origin.x) + "," + std::to_string(origin.y) + "; ";
}

std::string EMemorySurface::TakeLog() { return std::exchange(log_, std::string()); }

}  // namespace etabulon
