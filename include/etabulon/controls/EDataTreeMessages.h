#pragma once

#include <cstdint>

namespace etabulon {

/// What a tree's worker tells its control, by number.
enum EDataTreeMessage : std::uint32_t {
    MsgBrowseStart = 1125,    // sent, with the tag asked for
    MsgFillDone = 1126,       // posted, as all that follow
    MsgRefreshDone = 1127,    // with the tag asked for
    MsgFillCancel = 1226,     //
    MsgRefreshCancel = 1227,  // without the tag
    MsgFillError = 1326,      // wParam: the CursorStatus
    MsgRefreshError = 1327,   // wParam: the CursorStatus; without the tag
};

/// What a tree control tells itself: a run asked for where it couldn't be started.
enum EDataTreeRequest : std::uint32_t {
    AskFill = 1101,
    AskRefresh = 1102,  // with the tag
};

/// What a tree control tells its owner window.
enum EDataTreeNotification : std::uint32_t {
    NotifyBrowseStart = 1569,
    NotifyBrowseDone = 1570,
    NotifyBrowseCancel = 1571,
    NotifyBrowseError = 1572,  // wParam: the CursorStatus
};

}  // namespace etabulon
