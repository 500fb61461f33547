#include "etabulon/controls/ETabulonSelectLevelMenu.h"

#include "etabulon/foundation/EExpects.h"

#include <algorithm>

namespace etabulon {
namespace {

using SortKey = ETabulonSortDesc::SortKey;

constexpr unsigned int kFirstCommand = 456;
constexpr unsigned int kMaxPermuted = 3;
constexpr int kEntryWidth = 120;
constexpr int kEntryMargin = 4;   // above and below the levels, and the line between entries
constexpr int kPictureInset = 2;  // from the entry's top
constexpr EColour kBlack = 0;

}  // namespace

ETabulonSelectLevelMenu::ETabulonSelectLevelMenu(IViewFactory& factory)
    : factory_(factory), preview_(factory.Screen()) {}

ETabulonSelectLevelMenu::~ETabulonSelectLevelMenu() = default;

void ETabulonSelectLevelMenu::Init(const ETabulonSortDesc* sortDesc) {
    E_EXPECTS(menu_ == nullptr);
    sortDesc_ = MakeRef<ETabulonSortDesc>(*sortDesc);
    // Deliberate: hidden levels come last in every entry, also in the first, which otherwise is the
    // current order. A tree has moved them there already. HiddenLevelsStandLast holds it.
    SortKeyArray keys;
    for (const bool hidden : {false, true}) {
        for (const SortKey& key : sortDesc_->SortLevels()) {
            if (key.IsHidden(ETabulonSortDesc::HideInTree) == hidden) {
                keys.Add(key);
                levelCount_ += hidden ? 0 : 1;
            }
        }
    }
    E_EXPECTS(levelCount_ > 0);
    levelCount_ = std::min(levelCount_, kMaxPermuted);

    preview_.Init(&sortDesc_->AvailableLevels());
    preview_.AttachSortDesc(sortDesc_.Get());
    window_ = factory_.NewHiddenTreeView();
    preview_.Attach(window_.get());
    menu_ = factory_.NewPopupMenu(*this);
    InsertLevel(keys, 0);
}

/// Adds an entry for each order of the keys from `position` on, the current order first.
void ETabulonSelectLevelMenu::InsertLevel(const SortKeyArray& keys, unsigned int position) {
    if (position + 1 >= levelCount_) {
        menu_->AppendItem(kFirstCommand + arrangements_.Size());
        arrangements_.Add(keys);
        return;
    }
    InsertLevel(keys, position + 1);
    for (unsigned int taken = position + 1; taken < levelCount_; ++taken) {
        SortKeyArray changed = keys;
        changed.RemoveAt(taken, 1);
        changed.InsertAt(position, keys[taken]);
        InsertLevel(changed, position + 1);
    }
}

int ETabulonSelectLevelMenu::TrackPopupMenu(unsigned int flags, int x, int y, ITreeView* window,
                                            const ERect* rect) {
    E_EXPECTS(menu_ != nullptr);
    lastSelected_ = menu_->Track(flags | IPopupMenu::TrackReturnCommand, {x, y}, window, rect);
    return lastSelected_;
}

const ETabulonSelectLevelMenu::SortKeyArray& ETabulonSelectLevelMenu::LastSelected() const {
    const unsigned int index = static_cast<unsigned int>(lastSelected_) - kFirstCommand;
    E_EXPECTS(index < arrangements_.Size());
    return arrangements_.At(index);
}

// Deliberate: the height is that of the levels whose order varies, though the picture shows every
// visible level: a fourth is cut off. It is the same in each entry. FourthVisibleLevelStays holds
// it.
void ETabulonSelectLevelMenu::MeasureItem(unsigned int /*command*/, int& width, int& height) {
    width = kEntryWidth;
    height = (factory_.Screen().Measure(IScreen::MetricSmallIconHeight) + 1) *
                 static_cast<int>(levelCount_) +
             kEntryMargin;
}

void ETabulonSelectLevelMenu::DrawItem(unsigned int command, unsigned int state, const ERect& rect,
                                       IDrawSurface& surface) {
    E_EXPECTS(command >= kFirstCommand);
    // Deliberate: an entry that was never inserted is drawn without levels, and its arrangement is
    // added, where a reader would expect it to be ignored: a window system that paints before the
    // menu is complete gets an empty picture and no fault. UnknownEntryIsDrawnEmpty holds it.
    sortDesc_->SetSortLevels(arrangements_[command - kFirstCommand]);

    const IScreen& screen = factory_.Screen();
    const bool selected = (state & EntrySelected) != 0;
    const EColour background =
        screen.Colour(selected ? IScreen::ColourHighlight : IScreen::ColourButtonFace);
    const EPoint origin = surface.Origin();
    surface.SetClip(
        {rect.left - origin.x, rect.top - origin.y, rect.right - origin.x, rect.bottom - origin.y});
    surface.FillRect(rect, background);
    window_->SetBackgroundColour(background);
    window_->SetTextColour(
        screen.Colour(selected ? IScreen::ColourHighlightText : IScreen::ColourMenuText));
    PrintPreview(rect, surface);
    surface.DrawLine({rect.left, rect.bottom - 1}, {rect.right, rect.bottom - 1}, kBlack);
}

/// Prints the preview at the entry's top left.
void ETabulonSelectLevelMenu::PrintPreview(const ERect& rect, IDrawSurface& surface) {
    // Higher than the entry, so that a scroll bar at its bottom lies outside the picture.
    const int barHeight = factory_.Screen().Measure(IScreen::MetricHorizontalScrollHeight);
    window_->MoveWindow({0, 0, rect.right - rect.left, rect.bottom - rect.top + barHeight});
    preview_.Fill();
    const EPoint origin = surface.Origin();
    surface.SetOrigin({origin.x - rect.left, origin.y - (rect.top + kPictureInset)});
    window_->Print(surface);
    surface.SetOrigin(origin);
}

}  // namespace etabulon
