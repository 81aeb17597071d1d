#include "TableReader.h"

#include "LogFields.h"

namespace daksim::explain {

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

void TableReader::Line(const std::string& text, uint64_t line)
{
    if (Has(text, "[TCStreamClock::SetStreamClock] utc")) {
        TableEvent table;
        table.handle = m_handle;
        table.utc = NumberAfter(text, "utc").value_or(0);
        table.scan = NumberAfter(text, "isScan:").value_or(0) != 0;
        table.mode = static_cast<int>(NumberAfter(text, "clockMode:").value_or(0));
        table.resultKnown = false;
        m_table = table;
        m_tableLine = line;
        return;
    }
    if (!m_table) {
        return;
    }
    TableEvent& table = *m_table;
    if (Has(text, "Invalid UTC")) {
        table.result = false;
        table.resultKnown = true;
        table.why = "outside 2001-2099";
    } else if (Has(text, "Getting base clock error")) {
        table.result = false;
        table.why = "no base clock";
    } else if (Has(text, "First STT Set-->UTC[")) {
        m_handle = std::to_string(NumberAfter(text, "profileId:").value_or(0)) + "/" +
                   std::to_string(NumberAfter(text, "subId:").value_or(0));
        table.handle = m_handle;
    } else if (Has(text, "clockMode[")) {
        table.result = false;
        table.clockMode = static_cast<int>(NumberAfter(text, "m_clockMode[").value_or(0));
        table.agentDenied = NumberAfter(text, "bUpdateSystemTime =").value_or(1) == 0;
        table.why = table.agentDenied ? "the time-update agent denies it"
                                      : "its clock mode is not the stream clock's";
    } else if (Has(text, "Doesn't set Stream Clock")) {
        table.why = "the clock is manual";
    } else if (Has(text, "oldTime [")) {
        // Printed as a signed 32-bit long: from 2038 on it reads negative.
        if (const auto old = NumberAfter(text, "oldTime [")) {
            table.systemBefore = static_cast<int64_t>(static_cast<uint32_t>(*old));
        }
    } else if (Has(text, "BPTime_set_current_time")) {
        table.askedSet = true;
    }
}

}  // namespace daksim::explain
