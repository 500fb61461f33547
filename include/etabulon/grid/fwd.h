#pragma once

namespace etabulon {

class ETabulonGridAxe;
class ETabulonGridCumuls;
class ETabulonGridCumulsBuffers;
class ETabulonGridFiller;
class ITabulonResGridUI;
class ITabulonResultUI;

}  // namespace etabulon
