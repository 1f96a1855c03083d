// The spill file of a gather: recordings appended as they come, read back one
// component at a time, and a file that is not the expected one refused.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "calc3d/SpillFile.h"
#include "seisfile/ScratchDir.h"

namespace {

constexpr size_t kReceivers = 4;
constexpr size_t kRows = 3;

// Value of component k (0 X, 1 Y, 2 Z, 3 C) at receiver r of recording s.
float Value(int k, size_t s, size_t r) { return 1000.0f * k + 10.0f * s + r + 0.5f; }

} // namespace

TEST(SpillFile, RecordingsReadBackByComponent) {
  CScratchDir dir(true);
  const std::string path = dir.Root() + "/BigSeis-3(7).bin";
  CSpillFile spill;
  ASSERT_TRUE(spill.Create(path.c_str(), 3, kReceivers));
  EXPECT_TRUE(spill.IsWriting());
  for (size_t s = 0; s < kRows; s++) {
    std::vector<float> rows[4];
    for (int k = 0; k < 4; k++)
      for (size_t r = 0; r < kReceivers; r++)
        rows[k].push_back(Value(k, s, r));
    ASSERT_EQ(0, spill.Append(rows[0].data(), rows[1].data(), rows[2].data(), rows[3].data()));
  }

  // Each component comes back as rows of all receivers; any other letter is Z.
  const char szComponents[] = {'X', 'Y', 'Z', 'C', 'Q'};
  const int nBlocks[] = {0, 1, 2, 3, 2};
  for (int c = 0; c < 5; c++) {
    const float* p = spill.Read(path.c_str(), 3, kReceivers, kRows, szComponents[c]);
    ASSERT_NE(nullptr, p) << szComponents[c];
    EXPECT_FALSE(spill.IsWriting()) << "reading closes the file being written";
    for (size_t s = 0; s < kRows; s++)
      for (size_t r = 0; r < kReceivers; r++)
        EXPECT_EQ(Value(nBlocks[c], s, r), p[s * kReceivers + r]) << szComponents[c] << " " << s << " " << r;
  }
  EXPECT_TRUE(spill.HasRead());

  // The layout other tools may rely on: header, then X, Y, Z, C per recording.
  const std::string bytes = read_text(path);
  ASSERT_EQ(16 + kRows * 4 * kReceivers * sizeof(float), bytes.size());
  int32_t nMagic = 0, nNode = 0;
  int64_t nCount = 0;
  memcpy(&nMagic, bytes.data(), 4);
  memcpy(&nNode, bytes.data() + 4, 4);
  memcpy(&nCount, bytes.data() + 8, 8);
  EXPECT_EQ(821222, nMagic);
  EXPECT_EQ(3, nNode);
  EXPECT_EQ((int64_t)kReceivers, nCount);
  float f = 0;
  memcpy(&f, bytes.data() + 16 + (4 + 2) * kReceivers * sizeof(float) + sizeof(float), sizeof(float));
  EXPECT_EQ(Value(2, 1, 1), f) << "Z of receiver 1 in recording 1";

  // Another process's file, another receiver count, or a record longer than
  // the file: nothing is returned.
  EXPECT_EQ(nullptr, spill.Read(path.c_str(), 2, kReceivers, kRows, 'Z'));
  EXPECT_EQ(nullptr, spill.Read(path.c_str(), 3, kReceivers + 1, kRows, 'Z'));
  spill.Release();
  EXPECT_FALSE(spill.HasRead());
  EXPECT_EQ(nullptr, spill.Read(path.c_str(), 3, kReceivers, kRows + 1, 'Z'));
  EXPECT_EQ(nullptr, spill.Read((dir.Root() + "/missing.bin").c_str(), 3, kReceivers, kRows, 'Z'));
  EXPECT_FALSE(spill.Create((dir.Root() + "/no/such/dir.bin").c_str(), 3, kReceivers));
}
