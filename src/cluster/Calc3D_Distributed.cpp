// Time loop of a shot split by depth over a group of processes. Each half
// step computes the border planes first, posts the exchange of the halo
// planes with the neighbours, computes the inner block while the messages
// travel, and then waits for them.
#include <mpi.h>

#include <algorithm>
#include <cmath>

#include "calc3d/Calc3D.h"

namespace {

const int TAG_TERMINATE = 41;
enum { UP = 0, DOWN = 1 };

// Velocity fields with their tags, then the stress fields in exchange order.
const int kVelFields[] = {FIELD_VX, FIELD_VY, FIELD_VZ};
const int kVelTags[] = {100, 101, 102};
const int kStressFields[] = {FIELD_TXX, FIELD_TYY, FIELD_TZZ, FIELD_TXY, FIELD_TXZ, FIELD_TYZ};
const int kStressTags[] = {103, 104, 105, 106, 107, 108};

// Halo buffers and requests of one neighbour, indexed by field number.
struct CHalo {
  int nPeer = -1;
  float* pSend[10] = {nullptr};
  float* pRecv[10] = {nullptr};
  MPI_Request reqSend[10];
  MPI_Request reqRecv[10];
};

} // namespace

// Posts the exchange of `nFields` fields with one neighbour. `nSendZ0` and
// `nRecvZ0` are the first planes of the s planes sent and received.
static int post_exchange(CCalc3D& calc, CHalo& halo, const int* pFields, const int* pTags, int nFields, int nSendZ0,
                         int nRecvZ0, bool bPairwise, bool bZeroRecv) {
  const int s = calc.m_nStart;
  const int nCount = calc.m_nNx * calc.m_nNy * s;
  int rc = 0;
  for (int k = 0; k < nFields; k++) {
    const int f = pFields[k];
    rc |= calc.GetCalcPlane(f, nRecvZ0, nRecvZ0 + s - 1, &halo.pRecv[f], bZeroRecv);
    rc |= calc.GetCalcPlane(f, nSendZ0, nSendZ0 + s - 1, &halo.pSend[f], false);
    if (bPairwise) {
      rc |= MPI_Irecv(halo.pRecv[f], nCount, MPI_FLOAT, halo.nPeer, pTags[k], MPI_COMM_MT, &halo.reqRecv[f]);
      rc |= MPI_Isend(halo.pSend[f], nCount, MPI_FLOAT, halo.nPeer, pTags[k], MPI_COMM_MT, &halo.reqSend[f]);
    }
  }
  if (!bPairwise) {
    for (int k = 0; k < nFields; k++)
      rc |= MPI_Irecv(halo.pRecv[pFields[k]], nCount, MPI_FLOAT, halo.nPeer, pTags[k], MPI_COMM_MT,
                      &halo.reqRecv[pFields[k]]);
    for (int k = 0; k < nFields; k++)
      rc |= MPI_Isend(halo.pSend[pFields[k]], nCount, MPI_FLOAT, halo.nPeer, pTags[k], MPI_COMM_MT,
                      &halo.reqSend[pFields[k]]);
  }
  return rc;
}

// Waits for an exchange posted by post_exchange and stores the received planes.
static int finish_exchange(CCalc3D& calc, CHalo& halo, const int* pFields, int nFields, int nRecvZ0) {
  const int s = calc.m_nStart;
  int rc = 0;
  MPI_Status st;
  for (int k = 0; k < nFields; k++)
    rc |= MPI_Wait(&halo.reqRecv[pFields[k]], &st);
  for (int k = 0; k < nFields; k++)
    rc |= MPI_Wait(&halo.reqSend[pFields[k]], &st);
  for (int k = 0; k < nFields; k++)
    rc |= calc.SetCalcPlane(pFields[k], nRecvZ0, nRecvZ0 + s - 1, halo.pRecv[pFields[k]]);
  return rc;
}

static void free_halo(CCalc3D& calc, CHalo& halo) {
  for (int f = 1; f < 10; f++) {
    if (halo.pSend[f])
      calc.FreeCalcPlane(&halo.pSend[f]);
    if (halo.pRecv[f])
      calc.FreeCalcPlane(&halo.pRecv[f]);
  }
}

int CCalc3D::CalculateDistributed() {
  const int nMethod = GetMethod();
  const int s = m_nStart;
  const int Nz = m_nNz;
  const int nRank = GetGroupRank();
  const bool bFirst = nRank == 0;
  const bool bLast = nRank == GetGroupSize() - 1;
  const int nNode = m_Set.m_nNode;
  double fRecNext = m_Set.m_t0;
  const int n = (int)((m_fT1 - m_fT0) / m_fDt) + 1;
  const int nStressFields = nMethod > METHOD_ACOUSTIC ? 6 : 1;
  Init3DSnapshots();

  CHalo halo[2];
  halo[UP].nPeer = nNode - 1;
  halo[DOWN].nPeer = nNode + 1;
  // Planes sent and received toward each neighbour.
  const int nSendZ0[2] = {s, Nz - 2 * s};
  const int nRecvZ0[2] = {0, Nz - s};
  const bool bHas[2] = {!bFirst, !bLast};
  const int nInnerZ0 = bFirst ? s : 2 * s;
  const int nInnerZ1 = bLast ? Nz - s - 1 : Nz - 2 * s - 1;

  int rcLoop = RecordDueRows(fRecNext, -1);
  for (int i = 0; i < n && rcLoop == 0; i++) {
    // x and y bounds: the region the wave can have reached, as in the shared loop.
    int nY0 = s, nY1 = m_nNy - s - 1;
    int nX0 = s, nX1 = m_nNx - s - 1;
    StepActiveBox(i, nY0, nY1, nX0, nX1);

    if (i < m_Signal.m_nLen && !m_vShotPoints.empty() && ApplySignal(i) != 0) {
      u_Error("Error! Unable to apply signal in %d simulation step.\n", i);
      rcLoop = -1;
      break;
    }

    if (nMethod > METHOD_ACOUSTIC)
      UpdateSuppression();
    auto velocity = [&](int z0, int z1) { return PropagateVelocity(z0, nY0, nX0, z1, nY1, nX1); };
    auto stress = [&](int z0, int z1) { return PropagateStress(z0, nY0, nX0, z1, nY1, nX1); };

    int nRes = 0;
    // Velocity half step.
    if (bHas[UP])
      nRes |= velocity(s, 2 * s - 1);
    if (bHas[DOWN])
      nRes |= velocity(Nz - 2 * s, Nz - s - 1);
    for (int d = UP; d <= DOWN; d++)
      if (bHas[d])
        nRes |= post_exchange(*this, halo[d], kVelFields, kVelTags, 3, nSendZ0[d], nRecvZ0[d], false, true);
    nRes |= velocity(nInnerZ0, nInnerZ1);
    for (int d = UP; d <= DOWN; d++)
      if (bHas[d])
        nRes |= finish_exchange(*this, halo[d], kVelFields, 3, nRecvZ0[d]);

    // Stress half step.
    if (bHas[UP])
      nRes |= stress(s, 2 * s - 1);
    if (bHas[DOWN])
      nRes |= stress(Nz - 2 * s, Nz - s - 1);
    for (int d = UP; d <= DOWN; d++)
      if (bHas[d])
        nRes |= post_exchange(*this, halo[d], kStressFields, kStressTags, nStressFields, nSendZ0[d], nRecvZ0[d], true,
                              false);
    nRes |= stress(nInnerZ0, nInnerZ1);
    for (int d = UP; d <= DOWN; d++)
      if (bHas[d])
        nRes |= finish_exchange(*this, halo[d], kStressFields, nStressFields, nRecvZ0[d]);

    m_fTime += m_fDt;

    if (nRes != 0) {
      rcLoop = ReportStepFailure(nRes, i);
      break;
    }

    if (m_nTimeFieldType != 0 && i % 5 == 0) {
      const int nTf = PropagateTimeField();
      if (nTf != 0) {
        u_Error("Error! Unable to propagate time field (%d) in simulation step %d.\n", nTf, i);
        rcLoop = nTf;
        break;
      }
    }

    if ((rcLoop = RecordDueRows(fRecNext, i)) != 0)
      break;

    if (m_nSnapEvery > 0 && (m_nShot - 1) % m_nSnapEvery == 0 && m_fSnapNext <= m_fTime) {
      const int nSnap = AppendZpl2DSnapshot(GetFileName(FILE_SNAP2D, ' ', false, false, 0), 'X', "ZXYC", 15.0, false);
      m_fSnapNext += m_fSnapDt;
      if (nSnap != 0) {
        u_Error("Error! Unable to merge 2D a snapshot.\n");
        rcLoop = nSnap;
        break;
      }
    }

    const int nSnap3D = Save3DSnapshots();
    if (nSnap3D != 0) {
      u_Error("Error! Unable to save 3D a snapshot.\n");
      rcLoop = nSnap3D;
      break;
    }

    ReportStepProgress(i, n);
  }

  if (rcLoop == 0) {
    int bFlag = 0;
    MPI_Status st;
    MPI_Iprobe(0, TAG_TERMINATE, MPI_COMM_WORLD, &bFlag, &st);
    if (bFlag) {
      u_Error("Error! Received an urgent terminate request by the boss (Node #0).\n");
      rcLoop = CALC_TERMINATE;
    }
  }
  free_halo(*this, halo[UP]);
  free_halo(*this, halo[DOWN]);
  return rcLoop;
}
