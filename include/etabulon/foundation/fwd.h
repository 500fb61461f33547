#pragma once

namespace etabulon {

class Chaine;
class DDico;
class DDicoBase;
class DRubric;
class DVariable;
class EBlockSource;
class EData;
class EDataArray;
class EDataColumns;
class EDataMemory;
class EDataTable;
class EDerivation;
class EExtract;
class EField;
class EFieldKey;
class EFieldSet;
class ERecordBlock;
class EVariant;
struct EBlockRequest;

}  // namespace etabulon
