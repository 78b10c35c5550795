// Eight threads intern, copy, move and release overlapping mixed-case names of all four
// handle classes. Afterwards the table must hold exactly the entries that the surviving
// handles reach, each with the right count, and nothing once they are gone.
// VX_STRESS_MS sets the run time (default 1500 ms).
#include "VXPoolSnapshot.h"

#include "vxsystem/VXFixedString.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using vxtest::EntryOf;
using vxtest::PoolSnapshot;

namespace
{
constexpr int THREADS = 8;
constexpr int SLOTS = 16;

struct Slots
{
    VXFixedString akFolded[SLOTS];
    VXFixedStringCS akExact[SLOTS];
    VXFixedStringW akWide[SLOTS];
    VXFixedStringWCS akWideExact[SLOTS];
};

// 40 names in 4 spellings each: as written, and with the letter case of the even, the odd
// or all characters flipped.
std::vector<std::string> MakeNames()
{
    std::vector<std::string> kNames;
    for (int i = 0; i < 160; ++i)
    {
        std::string sName = "Meshes\\Armor\\Item" + std::to_string(i / 4) + ".Kof";
        for (size_t c = 0; c < sName.size(); ++c)
            if ((i % 4) & (1 << (c % 2)))
                sName[c] ^= std::isalpha(static_cast<unsigned char>(sName[c])) ? 0x20 : 0;
        kNames.push_back(sName);
    }
    return kNames;
}

// One random step on a thread's own slots; gives 1 when a handle read back wrongly.
int Step(Slots& rOwn, Slots const& rShared, std::string const& sName, std::minstd_rand& rRandom)
{
    uint32_t i = rRandom() % SLOTS;
    uint32_t j = rRandom() % SLOTS;
    std::u16string sWide(sName.begin(), sName.end());
    switch (rRandom() % 8)
    {
    case 0:
        rOwn.akFolded[i] << sName.c_str();
        rOwn.akExact[j] << sName.c_str();
        return (rOwn.akFolded[i] == sName.c_str() && sName == rOwn.akExact[j].QString()) ? 0 : 1;
    case 1:
        rOwn.akWide[i] << sWide.c_str();
        rOwn.akWideExact[j] = VXFixedStringWCS(sWide.c_str());
        return (rOwn.akWide[i] == sWide.c_str() && sWide == rOwn.akWideExact[j].QString()) ? 0 : 1;
    case 2: // copies of handles that every thread reads at once
        rOwn.akFolded[i] = rShared.akFolded[j];
        rOwn.akExact[i] = rShared.akExact[j];
        rOwn.akWide[i] = rShared.akWide[j];
        rOwn.akWideExact[i] = rShared.akWideExact[j];
        return 0;
    case 3:
        rOwn.akFolded[i] = std::move(rOwn.akFolded[j]);
        rOwn.akExact[i] = std::move(rOwn.akExact[j]);
        return 0;
    case 4:
        rOwn.akFolded[i] = rOwn.akExact[j];
        rOwn.akWide[i] = rOwn.akWideExact[j];
        rOwn.akExact[j] = rOwn.akExact[i];
        return 0;
    default:
        rOwn.akFolded[i] << nullptr;
        rOwn.akExact[i] << nullptr;
        rOwn.akWide[i] << nullptr;
        rOwn.akWideExact[i] << nullptr;
        return 0;
    }
}

// Every entry the handles reach, with the references they account for: one per handle
// and one per alias pointing at it.
struct Reach
{
    template <class Handle> void Add(Handle const& rHandle)
    {
        VXStringPool::Entry* pEntry = EntryOf(rHandle);
        if (!pEntry)
            return;
        ++kRefs[pEntry];
        while (vxtest::IsAlias(pEntry) && kAliases.insert(pEntry).second)
            ++kRefs[pEntry = pEntry->pTarget];
    }
    void Add(Slots const& rSlots)
    {
        for (int i = 0; i < SLOTS; ++i)
        {
            Add(rSlots.akFolded[i]);
            Add(rSlots.akExact[i]);
            Add(rSlots.akWide[i]);
            Add(rSlots.akWideExact[i]);
        }
    }
    void AddStatics()
    {
        Add(VXFixedString::QEmptyString());
        Add(VXFixedStringCS::QEmptyString());
        Add(VXFixedStringW::QEmptyString());
        Add(VXFixedStringWCS::QEmptyString());
    }

    std::map<VXStringPool::Entry*, uint32_t> kRefs;
    std::set<VXStringPool::Entry*> kAliases;
};
} // namespace

TEST(StringPoolStress, TableHoldsExactlyTheLiveEntries)
{
    Reach kStatics; // the empty-text statics live on; their entries are counted apart
    kStatics.AddStatics();
    size_t uiBase = PoolSnapshot().QCount();
    std::vector<std::string> const kNames = MakeNames();
    auto* pShared = new Slots;
    for (int i = 0; i < SLOTS; ++i)
    {
        pShared->akFolded[i] << kNames[i * 9].c_str();
        pShared->akExact[i] << kNames[i * 9 + 1].c_str();
        pShared->akWide[i] = VXFixedStringWCS(u"Shared\\Wide");
        pShared->akWideExact[i] << u"SHARED\\wide";
    }
    std::vector<Slots> kOwn(THREADS);

    char const* pRunMs = std::getenv("VX_STRESS_MS");
    int iRunMs = pRunMs && std::atoi(pRunMs) > 0 ? std::atoi(pRunMs) : 1500;
    std::atomic<bool> bStop{false};
    std::atomic<int> iErrors{0};
    std::vector<std::thread> kThreads;
    for (int t = 0; t < THREADS; ++t)
        kThreads.emplace_back(
            [&, t]
            {
                std::minstd_rand kRandom(1234u + static_cast<uint32_t>(t));
                int iWrong = 0;
                while (!bStop.load(std::memory_order_relaxed))
                    iWrong += Step(kOwn[t], *pShared, kNames[kRandom() % kNames.size()], kRandom);
                iErrors.fetch_add(iWrong, std::memory_order_relaxed);
            });
    std::this_thread::sleep_for(std::chrono::milliseconds(iRunMs));
    bStop.store(true, std::memory_order_relaxed);
    for (std::thread& rThread : kThreads)
        rThread.join();
    EXPECT_EQ(iErrors.load(), 0);

    Reach kReach;
    kReach.AddStatics();
    kReach.Add(*pShared);
    for (Slots const& rSlots : kOwn)
        kReach.Add(rSlots);
    for (auto const& [pEntry, uiRefs] : kReach.kRefs)
        EXPECT_EQ(vxtest::CountOf(pEntry), uiRefs);
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase - kStatics.kRefs.size() + kReach.kRefs.size());

    kOwn.clear();
    delete pShared;
    EXPECT_EQ(PoolSnapshot().QCount(), uiBase);
}
