// The device layer without a device: the tile traversal of the device steps,
// run on the host, against the host's row loops; the texts and choices made
// before a device is touched; the device memory plan.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "calc3d/FDAcoustic.h"
#include "calc3d/FDAnisotropic.h"
#include "calc3d/FDElastic.h"
#include "calc3d/FDStep.h"
#include "cuda/Calc3D_CUDA.h"
#include "cuda/FDTile.h"
#include "cuda/kelvo_cuda.h"

namespace {

// Fields, coefficients and PML arrays of a grid, filled at random.
struct TGrid {
  int nx, ny, nz, nzAll, z0, nPml, nMethod;
  std::vector<float> f[9];      // vx vy vz txx tyy tzz txy txz tyz
  std::vector<float> coefs[24]; // k mu b q, then C11 .. C56 of the anisotropic media
  std::vector<float> pml[3][fd::kPmlCoefPerAxis];
  std::vector<float> mem[fd::kPmlMemMax];
  float damp[fd::kTaperWidth];

  TGrid(int x, int y, int z, int zAll, int zFirst, int nMeth)
      : nx(x), ny(y), nz(z), nzAll(zAll), z0(zFirst), nPml(4), nMethod(nMeth) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f), pos(0.1f, 0.9f);
    const size_t m = (size_t)nx * ny * nz;
    for (auto& v : f) {
      v.resize(m);
      for (float& e : v)
        e = u(rng);
    }
    for (auto& v : coefs) {
      v.resize(m);
      for (float& e : v)
        e = pos(rng);
    }
    const size_t nCount[3] = {(size_t)ny * nz * nPml, (size_t)nx * nz * nPml, (size_t)nx * ny * nPml};
    for (int ax = 0; ax < 3; ax++)
      for (auto& v : pml[ax]) {
        v.resize(nCount[ax]);
        for (float& e : v)
          e = pos(rng);
      }
    for (int k = 0; k < fd::PmlMemCount(nMethod); k++) {
      mem[k].resize(nCount[fd::PmlMem(k).nAxis]);
      for (float& e : mem[k])
        e = u(rng);
    }
    for (int r = 0; r < fd::kTaperWidth; r++)
      damp[r] = 1.0f - 0.01f * (fd::kTaperWidth - r);
  }

  template <class P> fd::TFdStep<P> Step(const P& ph, bool bPml) {
    fd::TFdStep<P> c{};
    c.ph = ph;
    c.g = fd::MakeFdGrid(nx, ny, nz, nzAll, z0, bPml, nPml, 2, bPml ? nPml + 5 : 9, damp);
    float* pMem[fd::kPmlMemMax] = {nullptr};
    for (int k = 0; k < fd::kPmlMemMax; k++)
      pMem[k] = mem[k].empty() ? nullptr : mem[k].data();
    float* pCoef[3][fd::kPmlCoefPerAxis];
    for (int ax = 0; ax < 3; ax++)
      for (int k = 0; k < fd::kPmlCoefPerAxis; k++)
        pCoef[ax][k] = pml[ax][k].data();
    float* const* const coef3[3] = {pCoef[0], pCoef[1], pCoef[2]};
    fd::SetPmlSides(c, pMem, coef3);
    return c;
  }
  float* F(int i) { return f[i].data(); }
  fd::CAcoVelocity AcoVelocity() {
    fd::CAcoVelocity ph;
    ph.vx = F(0), ph.vy = F(1), ph.vz = F(2), ph.p = F(3), ph.b = coefs[2].data();
    return ph;
  }
  fd::CAcoPressure AcoPressure() {
    fd::CAcoPressure ph;
    ph.vx = F(0), ph.vy = F(1), ph.vz = F(2), ph.p = F(3), ph.k = coefs[0].data();
    return ph;
  }
  fd::CElaVelocity ElaVelocity() {
    fd::CElaVelocity ph;
    ph.vx = F(0), ph.vy = F(1), ph.vz = F(2), ph.txx = F(3), ph.tyy = F(4), ph.tzz = F(5);
    ph.txy = F(6), ph.txz = F(7), ph.tyz = F(8), ph.b = coefs[2].data();
    ph.sz = (ptrdiff_t)nx * ny;
    ph.bSurface = true;
    return ph;
  }
  void Stress(fd::CStressFields& s) {
    s.vx = F(0), s.vy = F(1), s.vz = F(2), s.txx = F(3), s.tyy = F(4), s.tzz = F(5);
    s.txy = F(6), s.txz = F(7), s.tyz = F(8), s.b = coefs[2].data(), s.q = coefs[3].data();
    s.visco = nullptr, s.viscoG = nullptr, s.L = 0, s.dt = 0.001f, s.s = 0.7f;
    s.sz = (ptrdiff_t)nx * ny;
    s.bSurface = true;
  }
  fd::TElaStress<fd::ELA_QFACTOR> ElaStress() {
    fd::TElaStress<fd::ELA_QFACTOR> ph;
    Stress(ph);
    ph.k = coefs[0].data(), ph.mu = coefs[1].data();
    return ph;
  }
  fd::TOrtStress<fd::ELA_PLAIN> OrtStress() {
    fd::TOrtStress<fd::ELA_PLAIN> ph;
    Stress(ph);
    for (int k = 0; k < 9; k++)
      ph.c[k] = coefs[4 + k].data();
    return ph;
  }
};

// Every block and thread of a device launch over the box, one after another.
template <class P> void RunTiles(const fd::TFdStep<P>& c, const fd::TStepBox& b) {
  const fd::TTileCount t = fd::TilesOf(b);
  const fd::TInterior in = fd::InteriorOf(c.g);
  for (int bz = 0; bz < t.nz; bz++)
    for (int by = 0; by < t.ny; by++)
      for (int bx = 0; bx < t.nx; bx++)
        for (int ty = 0; ty < fd::kTileY; ty++)
          for (int tx = 0; tx < fd::kTileX; tx++)
            fd::TileColumn(c, b, in, bx, by, bz, tx, ty);
}

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
  return a.size() == b.size() && (a.empty() || memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

} // namespace

// The tiles give the bits of the host's per-point steps (the row loops add
// the x corrections of the PML in a pass of their own, which rounds
// differently), with PML and with the taper, over the whole box, a narrowed
// active box and the slab of a depth split (the interior test runs on global
// planes there): every field and memory of a copy of the same grid.
template <class P>
void ExpectSameAsHost(const TGrid& start, P (TGrid::*policy)(), bool bPml, const fd::TStepBox& b,
                      const std::string& name) {
  TGrid host = start, dev = start;
  fd::RunStepPointwise(host.Step((host.*policy)(), bPml), b.z0, b.y0, b.x0, b.z1, b.y1, b.x1);
  RunTiles(dev.Step((dev.*policy)(), bPml), b);
  for (int i = 0; i < 9; i++)
    EXPECT_TRUE(SameBits(host.f[i], dev.f[i])) << name << " field " << i;
  for (int m = 0; m < fd::kPmlMemMax; m++)
    EXPECT_TRUE(SameBits(host.mem[m], dev.mem[m])) << name << " memory " << m;
}

TEST(CudaTiles, MatchHostStepsBitForBit) {
  struct Case {
    const char* name;
    int nx, ny, nz, nzAll, z0;
    bool bPml;
    fd::TStepBox box;
  } cases[] = {
      {"pml whole", 75, 40, 37, 37, 0, true, {2, 2, 2, 34, 37, 72}},
      {"taper whole", 75, 40, 37, 37, 0, false, {2, 2, 2, 34, 37, 72}},
      {"pml active box", 75, 40, 37, 37, 0, true, {2, 9, 5, 34, 30, 60}},
      {"pml slab", 70, 36, 30, 80, 48, true, {2, 2, 2, 27, 33, 67}},
      {"taper slab", 70, 36, 30, 80, 0, false, {2, 2, 2, 27, 33, 67}},
  };
  for (const Case& k : cases) {
    const TGrid aco(k.nx, k.ny, k.nz, k.nzAll, k.z0, fd::FD_ACOUSTIC);
    ExpectSameAsHost(aco, &TGrid::AcoVelocity, k.bPml, k.box, std::string(k.name) + " acoustic U");
    ExpectSameAsHost(aco, &TGrid::AcoPressure, k.bPml, k.box, std::string(k.name) + " acoustic Tau");
  }
  // The elastic policies (surface form, Q factor, orthorhombic stiffness) on two of the layouts.
  for (const Case* k : {&cases[0], &cases[4]}) {
    const TGrid ela(k->nx, k->ny, k->nz, k->nzAll, k->z0, fd::FD_ORTHORHOMBIC);
    ExpectSameAsHost(ela, &TGrid::ElaVelocity, k->bPml, k->box, std::string(k->name) + " elastic U");
    ExpectSameAsHost(ela, &TGrid::ElaStress, k->bPml, k->box, std::string(k->name) + " elastic Tau");
    ExpectSameAsHost(ela, &TGrid::OrtStress, k->bPml, k->box, std::string(k->name) + " orthorhombic Tau");
  }
}

// A box thinner than a tile still gets its points, and nothing outside it.
TEST(CudaTiles, ThinBoxTouchesOnlyItself) {
  TGrid g(40, 30, 20, 20, 0, fd::FD_ACOUSTIC), ref = g;
  const fd::TStepBox b{7, 11, 13, 7, 11, 13};
  RunTiles(g.Step(g.AcoVelocity(), true), b);
  size_t nChanged = 0;
  for (int i = 0; i < 3; i++)
    for (size_t q = 0; q < g.f[i].size(); q++)
      nChanged += g.f[i][q] != ref.f[i][q];
  EXPECT_EQ(nChanged, 3u);
  EXPECT_EQ(fd::TilesOf(fd::TStepBox{5, 5, 5, 4, 9, 9}).nx, 0); // empty box, no launch
}

TEST(CudaTexts, VersionsErrorsAndDeviceSpreading) {
  const struct {
    int v;
    double f;
  } versions[] = {{4000, 4.0}, {4020, 4.2}, {7050, 7.5}, {3020, 3.2}, {12040, 12.4}, {13000, 13.0}};
  for (const auto& c : versions)
    EXPECT_NEAR(CUDA_VersionNumber(c.v), c.f, 1e-9) << c.v;

  EXPECT_EQ(std::string(CUDA_Error_Explain(2, nullptr)).rfind("Error 2: cudaErrorMemoryAllocation:\n", 0), 0u);
  EXPECT_STREQ(CUDA_Error_Explain(0, "cudaMalloc"), "");
  EXPECT_EQ(std::string(CUDA_Error_Explain(38, nullptr)).rfind("Error 38 (in cudaMalloc): cudaErrorNoDevice:", 0), 0u);
  EXPECT_EQ(std::string(CUDA_Error_Explain(38, nullptr)).rfind("Error 38: ", 0), 0u); // the place is used once
  EXPECT_STREQ(CUDA_Error_Explain(50, nullptr), "Error 50: Unknown CUDA error (50)!\n");

  // A master and three workers on a host of two devices, all asking for 0.
  EXPECT_EQ(CUDA_SpreadDevice(0, 2, 1, 4), 0);
  EXPECT_EQ(CUDA_SpreadDevice(0, 2, 2, 4), 1);
  EXPECT_EQ(CUDA_SpreadDevice(0, 2, 3, 4), 0);
  EXPECT_EQ(CUDA_SpreadDevice(1, 2, 2, 4), 1); // an explicit device is kept
  EXPECT_EQ(CUDA_SpreadDevice(0, 1, 2, 4), 0);
  EXPECT_EQ(CUDA_SpreadDevice(0, 2, 0, 1), 0);
}

// A shot larger than the device's memory is refused before anything is
// allocated; the estimate reports the need without allocating.
TEST(CudaMemoryPlan, RefusesShotBeyondDeviceMemory) {
  CCalc3D_CUDA c;
  c.m_Set.m_nMethod = METHOD_ACOUSTIC;
  c.m_Set.m_nGpuMemoryGB = 1;
  c.m_Set.m_nHostMemoryGB = 64;
  c.m_nNx = c.m_nNy = c.m_nNz = 600;
  c.m_bPML = true;
  EXPECT_EQ(c.AllocateMemory(true, true), 0);
  // 600^3 points: 2 model and 4 wave cubes of 824 MB, and 12 PML floats per slab point.
  const double m = 600.0 * 600 * 600 * 4 / 1048576;
  const double pml = 3.0 * 600 * 600 * 21 * 12 * 4 / 1048576;
  EXPECT_NEAR(c.m_fMemRequired, 6 * m + pml, 1.0);
  EXPECT_EQ(c.m_fMemAvailable, 1024.0);
  EXPECT_EQ(c.m_pK, nullptr);

  testing::internal::CaptureStdout();
  EXPECT_EQ(c.AllocateMemory(false, true), 1);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Error! Not enough memory on the GPU card. Requested"), std::string::npos) << out;
  EXPECT_EQ(c.m_pK, nullptr);
}
