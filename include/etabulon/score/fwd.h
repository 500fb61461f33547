#pragma once

namespace etabulon {

class ETabulonScoreCumuls;
class ETabulonScoreCumulsBuffers;
class ETabulonScoreFiller;
class ITabulonResScoreUI;

namespace detail {
class ScoreCells;
}  // namespace detail

}  // namespace etabulon
