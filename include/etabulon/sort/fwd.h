#pragma once

namespace etabulon {

class ETabulonSortDesc;
class ETabulonSortKey;
class ETabulonSortKeyArray;
class ETabulonSortKeyCache;
class ETabulonSortTag;

}  // namespace etabulon
