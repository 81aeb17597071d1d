// Every regional object factory hands out the TV product helper: a clock is
// available, no backup battery, and a new helper of its own for each caller.
#include <memory>
#include <ostream>
#include <string>

#include "DakTestFixture.h"
#include "TCObjectFactory.h"
#include "TITimeProductHelper.h"

namespace {

using dakhost::Region;

template <typename Factory>
bool IsA(TCObjectFactory* factory)
{
    return dynamic_cast<Factory*>(factory) != nullptr;
}

struct RegionRow {
    Region region;
    const char* name;
    bool (*isRegionalFactory)(TCObjectFactory*);
};

void PrintTo(const RegionRow& row, std::ostream* out)
{
    *out << row.name;
}

class ProductHelper : public DakTest, public ::testing::WithParamInterface<RegionRow> {};

TEST_P(ProductHelper, TvHelperOwnedByEachCaller)
{
    dakhost::SelectObjectFactory(GetParam().region);
    TCObjectFactory* factory = TCObjectFactory::GetInstance();
    ASSERT_NE(factory, nullptr);
    ASSERT_TRUE(GetParam().isRegionalFactory(factory));  // not one factory five times

    std::unique_ptr<TITimeProductHelper> first(factory->GetTimeProductHelper());
    std::unique_ptr<TITimeProductHelper> second(factory->GetTimeProductHelper());
    ASSERT_TRUE(first && second);
    EXPECT_NE(first.get(), second.get());
    first.reset();  // deleted through the interface; the other stays usable
    EXPECT_TRUE(second->IsClockAvailable());
    EXPECT_FALSE(second->ExistBackupBattery());
}

INSTANTIATE_TEST_SUITE_P(Regions, ProductHelper,
                         ::testing::Values(RegionRow{Region::KR, "KR", &IsA<TCObjectFactoryKR>},
                                           RegionRow{Region::USA, "USA", &IsA<TCObjectFactoryUSA>},
                                           RegionRow{Region::DVB, "DVB", &IsA<TCObjectFactoryDVB>},
                                           RegionRow{Region::BRZ, "BRZ", &IsA<TCObjectFactoryBRZ>},
                                           RegionRow{Region::JPN, "JPN", &IsA<TCObjectFactoryJPN>}),
                         [](const ::testing::TestParamInfo<RegionRow>& rowInfo) {
                             return std::string(rowInfo.param.name);
                         });

}  // namespace
