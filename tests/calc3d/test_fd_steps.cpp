// The row traversal of a step whose x corrections stay in the row loop (the
// elastic velocity step) against the per-point path.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include <omp.h>

#include "calc3d/Calc3D_OMP.h"
#include "calc3d/FDElastic.h"
#include "calc3d/FDStep.h"

namespace {

void SetGrid(CCalc3D_OMP& c, int nMethod, bool bPml, int nx, int ny, int nz, int z0, int nzAll) {
  c.m_Set.m_nMethod = nMethod;
  c.m_bPML = bPml;
  c.m_nFrame = fd::FrameWidth(nMethod, bPml);
  c.m_nPML = fd::FdMethod(nMethod).nPml;
  c.m_nStart = fd::FdMethod(nMethod).nStart;
  c.m_nNx = nx, c.m_nNy = ny, c.m_nNz = nz;
  c.m_nZ0 = z0, c.m_nNzAll = nzAll, c.m_nZ1 = z0 + nz - 1;
  c.m_fH = 10, c.m_fDt = 0.001;
  c.m_Signal.m_fFrequency = 20;
}

} // namespace

namespace {

// The elastic velocity step of an object, or its per-point reference.
fd::TFdStep<fd::CElaVelocity> ElaVelocityStep(const CCalc3D_OMP& o) {
  fd::CElaVelocity ph;
  ph.vx = o.m_pVx, ph.vy = o.m_pVy, ph.vz = o.m_pVz;
  ph.txx = o.m_pTxx, ph.tyy = o.m_pTyy, ph.tzz = o.m_pTzz;
  ph.txy = o.m_pTxy, ph.txz = o.m_pTxz, ph.tyz = o.m_pTyz;
  ph.b = o.m_pB;
  ph.sz = (ptrdiff_t)o.m_nNx * o.m_nNy;
  ph.bSurface = !o.m_bSuppressSV;
  fd::TFdStep<fd::CElaVelocity> c;
  fd::InitStep(c, o, ph);
  return c;
}

// Noise in all fields and memories; B is 0 (void) in the planes above
// plane 8 and in a pocket below it, so that the surface form has points.
void FillElastic(CCalc3D_OMP& c) {
  std::mt19937 gen(5);
  std::uniform_real_distribution<float> d(-1.0f, 1.0f);
  const size_t m = c.GetCubeSize();
  for (float* f : {c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx, c.m_pTyy, c.m_pTzz, c.m_pTxy, c.m_pTxz, c.m_pTyz})
    for (size_t i = 0; f && i < m; i++)
      f[i] = d(gen);
  const int nxy = c.m_nNx * c.m_nNy;
  for (size_t i = 0; i < m; i++) {
    const int z = (int)(i / nxy) + c.m_nZ0, x = (int)(i % c.m_nNx);
    c.m_pB[i] = z < 8 || (z == 12 && x > 20 && x < 30) ? 0.0f : 0.2f + 0.1f * d(gen);
  }
  for (int k = 0; k < PML_MEM_COUNT; k++)
    if (c.m_pPmlMem[k])
      for (size_t i = 0; i < c.GetPmlMemSize(k); i++)
        c.m_pPmlMem[k][i] = d(gen);
  for (int i = 0; i < fd::kTaperWidth; i++)
    c.m_fDamp[i] = 0.5f + 0.01f * i;
}

bool SameFloats(const float* a, const float* b, size_t n) { return std::memcmp(a, b, n * sizeof(float)) == 0; }

} // namespace

TEST(FdSteps, ElasticVelocityRowsMatchThePointwisePath) {
  // PML with an interior on all axes, on a depth slab, on a grid whose y and
  // z zones meet in places; the taper frame; the surface form on and off. The row loops
  // take the x corrections inside the loop, in the order of the per-point
  // path, so the results agree to the bit.
  struct Case {
    int nx, ny, nz, z0, nzAll;
    bool bPml, bSurface;
  };
  const Case cases[] = {{60, 54, 50, 0, 50, true, true},
                        {60, 54, 30, 10, 50, true, false},
                        {60, 44, 36, 0, 36, true, true},
                        {50, 46, 40, 0, 40, false, true}};
  for (const Case& k : cases) {
    CCalc3D_OMP a, b;
    for (CCalc3D_OMP* c : {&a, &b}) {
      SetGrid(*c, METHOD_ELASTIC, k.bPml, k.nx, k.ny, k.nz, k.z0, k.nzAll);
      if (!k.bPml)
        c->m_nFrame = 12;
      c->m_bSuppressSV = !k.bSurface;
      ASSERT_EQ(0, c->AllocateMemory(false, true));
      std::fill(c->m_pK, c->m_pK + c->GetCubeSize(), 2500.0f); // P velocity of the PML profile
      if (k.bPml)
        c->InitPMLProfile();
    }
    const int s = 2;
    const int boxes[2][6] = {{s, s, s, k.nz - s - 1, k.ny - s - 1, k.nx - s - 1},
                             {s + 1, 5, 7, k.nz - s - 4, k.ny - 9, k.nx - 4}};
    for (const auto& bx : boxes) {
      FillElastic(a);
      FillElastic(b);
      ASSERT_EQ(0, a.PropagateElaWaveU(bx[0], bx[1], bx[2], bx[3], bx[4], bx[5]));
      ASSERT_EQ(0, fd::RunStepPointwise(ElaVelocityStep(b), bx[0], bx[1], bx[2], bx[3], bx[4], bx[5]));
      const size_t m = a.GetCubeSize();
      EXPECT_TRUE(SameFloats(a.m_pVx, b.m_pVx, m)) << k.nx << " pml " << k.bPml;
      EXPECT_TRUE(SameFloats(a.m_pVy, b.m_pVy, m)) << k.nx << " pml " << k.bPml;
      EXPECT_TRUE(SameFloats(a.m_pVz, b.m_pVz, m)) << k.nx << " pml " << k.bPml;
      for (int j = 0; j < PML_MEM_COUNT; j++) {
        if (a.m_pPmlMem[j]) {
          EXPECT_TRUE(SameFloats(a.m_pPmlMem[j], b.m_pPmlMem[j], a.GetPmlMemSize(j))) << "k " << j;
        }
      }
    }
  }
}

TEST(FdSteps, FusedAndBlockedPassesMatchTwoSweeps) {
  // Three steps, each over bounds of its own as the wave spreads: as fused
  // passes, as one pass of three steps (temporal blocking), and as plain
  // sweeps. Acoustic and elastic, plain, with a Q factor and with mechanisms
  // in some planes only; PML and the taper frame; thread counts that leave
  // runs of one or two planes, where every stress update waits for the
  // meeting of the threads, and grids thinner than the planes one pass
  // keeps in flight. Same arithmetic in another order: equal to the bit.
  struct Case {
    int nMethod, L;
    bool bPml, bQ;
    int nz, nThreads;
  };
  const Case cases[] = {{METHOD_ACOUSTIC, 0, true, false, 44, 2}, {METHOD_ACOUSTIC, 0, false, false, 30, 3},
                        {METHOD_ACOUSTIC, 0, true, false, 12, 5}, {METHOD_ELASTIC, 0, true, false, 44, 2},
                        {METHOD_ELASTIC, 0, false, true, 30, 3},  {METHOD_ELASTIC, 2, true, false, 46, 2},
                        {METHOD_ELASTIC, 2, false, false, 14, 4}};
  const int nThreads = omp_get_max_threads();
  for (const Case& k : cases) {
    CCalc3D_OMP a, b, p;
    for (CCalc3D_OMP* c : {&a, &b, &p}) {
      SetGrid(*c, k.nMethod, k.bPml, 48, 46, k.nz, 0, k.nz);
      c->m_Set.m_strModelQ = k.L > 0 || k.bQ ? "q.sgy" : "";
      c->m_nViscoL = k.L;
      ASSERT_EQ(0, c->AllocateMemory(false, true));
      const size_t m = c->GetCubeSize();
      std::fill(c->m_pK, c->m_pK + m, 2500.0f);
      if (k.bPml)
        c->InitPMLProfile();
      FillElastic(*c);
      std::mt19937 gen(9);
      std::uniform_real_distribution<float> d(0.5f, 1.0f);
      for (size_t i = 0; i < m; i++)
        c->m_pK[i] = d(gen);
      if (k.nMethod == METHOD_ELASTIC)
        for (size_t i = 0; i < m; i++)
          c->m_pMu[i] = 0.3f * d(gen);
      for (size_t i = 0; k.bQ && i < m; i++)
        c->m_pQ[i] = 0.99f + 0.01f * d(gen);
      for (size_t i = 0; k.L > 0 && i < m * k.L; i++) {
        float* r = c->m_pVisco + i * 3;
        r[0] = 0.05f * d(gen), r[1] = 0.04f * d(gen), r[2] = 0.002f * d(gen);
      }
      c->m_vViscoPlanes.assign(k.L > 0 ? k.nz : 0, 0);
      for (size_t z = 0; z < c->m_vViscoPlanes.size(); z++)
        c->m_vViscoPlanes[z] = (z / 5) % 2;
      c->m_fSuppress = 0.7f;
    }
    a.m_Set.m_bPlainSteps = false;
    b.m_Set.m_bPlainSteps = true;
    p.m_Set.m_nStepsPerPass = 3;
    const TStepBox box[3] = {{12, 30, 9, 33}, {11, 31, 8, 34}, {2, 43, 2, 45}};
    omp_set_num_threads(k.nThreads);
    for (const TStepBox& x : box) {
      EXPECT_EQ(0, a.PropagateStep(2, x.nY0, x.nX0, k.nz - 3, x.nY1, x.nX1));
      EXPECT_EQ(0, b.PropagateStep(2, x.nY0, x.nX0, k.nz - 3, x.nY1, x.nX1));
    }
    EXPECT_EQ(1, p.MaxStepsPerPass()) << "planes this small are stepped one step a pass";
    EXPECT_EQ(0, p.PropagateSteps(2, k.nz - 3, box, 3));
    omp_set_num_threads(nThreads);
    const size_t m = a.GetCubeSize();
    for (const CCalc3D_OMP* c : {&a, &p}) {
      const char* szPass = c == &a ? "fused" : "blocked";
      const float* fa[] = {c->m_pVx,  c->m_pVy,  c->m_pVz,  c->m_pTxx, c->m_pTyy,
                           c->m_pTzz, c->m_pTxy, c->m_pTxz, c->m_pTyz};
      const float* fb[] = {b.m_pVx, b.m_pVy, b.m_pVz, b.m_pTxx, b.m_pTyy, b.m_pTzz, b.m_pTxy, b.m_pTxz, b.m_pTyz};
      for (int f = 0; f < (k.nMethod == METHOD_ACOUSTIC ? 4 : 9); f++)
        EXPECT_TRUE(SameFloats(fa[f], fb[f], m))
            << szPass << " method " << k.nMethod << " nz " << k.nz << " threads " << k.nThreads << " field " << f;
      for (int j = 0; j < PML_MEM_COUNT; j++) {
        if (c->m_pPmlMem[j]) {
          EXPECT_TRUE(SameFloats(c->m_pPmlMem[j], b.m_pPmlMem[j], c->GetPmlMemSize(j))) << szPass << " memory " << j;
        }
      }
      if (k.L > 0) {
        EXPECT_TRUE(SameFloats(c->m_pViscoG, b.m_pViscoG, m * k.L * 6)) << szPass;
      }
    }
  }
}
