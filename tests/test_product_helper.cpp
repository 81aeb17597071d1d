// Every regional object factory hands out the TV product helper: a clock is
// available, there is no backup battery, and each call gives a helper of its
// own that the caller owns.
#include <memory>
#include <ostream>
#include <string>

#include "DakTestFixture.h"
#include "TCObjectFactory.h"
#include "TITimeProductHelper.h"

namespace {

using dakhost::Region;

struct RegionRow {
    Region region;
    const char* name;
    bool (*isRegionalFactory)(TCObjectFactory*);
};

template <typename Factory>
bool IsA(TCObjectFactory* factory)
{
    return dynamic_cast<Factory*>(factory) != nullptr;
}

const RegionRow kRegions[] = {
    {Region::KR, "KR", &IsA<TCObjectFactoryKR>},    {Region::USA, "USA", &IsA<TCObjectFactoryUSA>},
    {Region::DVB, "DVB", &IsA<TCObjectFactoryDVB>}, {Region::BRZ, "BRZ", &IsA<TCObjectFactoryBRZ>},
    {Region::JPN, "JPN", &IsA<TCObjectFactoryJPN>},
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
    // Otherwise the same factory would be tested five times.
    ASSERT_TRUE(GetParam().isRegionalFactory(factory));

    std::unique_ptr<TITimeProductHelper> first(factory->GetTimeProductHelper());
    std::unique_ptr<TITimeProductHelper> second(factory->GetTimeProductHelper());
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first.get(), second.get());

    EXPECT_TRUE(first->IsClockAvailable());
    EXPECT_FALSE(first->ExistBackupBattery());

    // Deleting one (through the interface) leaves the other usable.
    first.reset();
    EXPECT_TRUE(second->IsClockAvailable());
    EXPECT_FALSE(second->ExistBackupBattery());
}

INSTANTIATE_TEST_SUITE_P(Regions, ProductHelper, ::testing::ValuesIn(kRegions),
                         [](const ::testing::TestParamInfo<RegionRow>& rowInfo) {
                             return std::string(rowInfo.param.name);
                         });

}  // namespace
