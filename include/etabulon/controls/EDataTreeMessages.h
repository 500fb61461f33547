#pragma once

#include <cstdint>

namespace etabulon {

/// The messages of a tree's worker to its control, by number.
enum EDataTreeMessage : std::uint32_t {
    MsgBrowseStart = 1125,  // sent, with the requested tag
    MsgFillDone = 1126,     // posted, as all that follow
    MsgRefreshDone = 1127,  // with the requested tag
    MsgFillCancel = 1226,
    MsgRefreshCancel = 1227,  // without the tag
    MsgFillError = 1326,      // wParam: the CursorStatus
    MsgRefreshError = 1327,   // wParam: the CursorStatus; without the tag
};

/// The messages of a tree control to itself: a run that was requested on a thread that holds the
/// cursor's lock, where no run can start.
enum EDataTreeRequest : std::uint32_t {
    AskFill = 1101,
    AskRefresh = 1102,  // with the tag
};

/// The notifications of a tree control to its owner window.
enum EDataTreeNotification : std::uint32_t {
    NotifyBrowseStart = 1569,
    NotifyBrowseDone = 1570,
    NotifyBrowseCancel = 1571,
    NotifyBrowseError = 1572,  // wParam: the CursorStatus
};

}  // namespace etabulon
