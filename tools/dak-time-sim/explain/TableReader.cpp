#include "TableReader.h"

namespace daksim::explain {

namespace msg = dak::msg;

namespace {
constexpr int kLevelOfTables = 5;  // whether a table was taken is told at level 5
}  // namespace

std::optional<TableEvent> TableReader::Finish(int maxLevel, uint64_t& tableLine)
{
    std::optional<TableEvent> table;
    table.swap(m_table);
    if (table) {
        table->resultKnown = table->resultKnown || maxLevel >= kLevelOfTables;
        tableLine = m_tableLine;
    }
    return table;
}

void TableReader::Line(const LibraryMessage& known, uint64_t line)
{
    if (known.id == Id(msg::kTable)) {  // "utc %lu, isScan:%d, clockMode:%d"
        TableEvent table;
        table.handle = m_handle;
        table.utc = known.Number(0).value_or(0);
        table.scan = known.Number(1).value_or(0) != 0;
        table.mode = static_cast<int>(known.Number(2).value_or(0));
        table.resultKnown = false;
        m_table = table;
        m_tableLine = line;
        return;
    }
    if (!m_table) {
        return;
    }
    TableEvent& table = *m_table;
    switch (known.id) {
        case Id(msg::kTableInvalid):
            table.result = false;
            table.resultKnown = true;
            table.why = "outside 2001-2099";
            break;
        case Id(msg::kTableNoBase):
            table.result = false;
            table.why = "no base clock";
            break;
        case Id(msg::kFirstTable):  // "UTC[%lu], profileId:%d, subId:%d"
            m_handle = std::to_string(known.Number(1).value_or(0)) + "/" +
                       std::to_string(known.Number(2).value_or(0));
            table.handle = m_handle;
            break;
        case Id(msg::kTableNotTaken):  // "clockMode[%d] != m_clockMode[%d] bUpdateSystemTime = %d"
            table.result = false;
            table.clockMode = static_cast<int>(known.Number(1).value_or(0));
            table.agentDenied = known.Number(2).value_or(1) == 0;
            table.why = table.agentDenied ? "the time-update agent denies it"
                                          : "its clock mode is not the stream clock's";
            break;
        case Id(msg::kTableManual):
            table.why = "the clock is manual";
            break;
        case Id(msg::kTableSystemBefore):  // "oldTime [%ld], ..."
            // Printed as a signed 32-bit long: from 2038 on it reads negative.
            if (const auto old = known.Number(0)) {
                table.systemBefore = static_cast<int64_t>(static_cast<uint32_t>(*old));
            }
            break;
        case Id(msg::kTableSets):
            table.askedSet = true;
            break;
        default:
            break;
    }
}

}  // namespace daksim::explain
