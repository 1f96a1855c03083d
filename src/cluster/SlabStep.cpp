// The time step of a shot split by depth over a group of processes. Each half
// step computes the border planes first, posts the exchange of the halo
// planes with the neighbours, computes the inner block while the messages
// travel, and then waits for them. The rest of the loop is the shared one
// (CCalc3D::RunTimeLoop).
#include <mpi.h>

#include "calc3d/Calc3D.h"
#include "calc3d/TimeStep.h"
#include "cluster/MessageTags.h"

namespace {

enum { UP = 0, DOWN = 1 };

// Velocity fields with their tags, then the stress fields in exchange order.
const int kVelFields[] = {FIELD_VX, FIELD_VY, FIELD_VZ};
const int kVelTags[] = {TAG_HALO_VX, TAG_HALO_VY, TAG_HALO_VZ};
const int kStressFields[] = {FIELD_TXX, FIELD_TYY, FIELD_TZZ, FIELD_TXY, FIELD_TXZ, FIELD_TYZ};
const int kStressTags[] = {TAG_HALO_TXX, TAG_HALO_TYY, TAG_HALO_TZZ, TAG_HALO_TXY, TAG_HALO_TXZ, TAG_HALO_TYZ};

// Halo buffers and requests of one neighbour, indexed by field number. The
// buffers and requests live for the whole loop.
struct CHalo {
  int nPeer = -1;
  float* pSend[10] = {nullptr};
  float* pRecv[10] = {nullptr};
  MPI_Request reqSend[10];
  MPI_Request reqRecv[10];
};

// Posts the exchange of `nFields` fields with one neighbour. `nSendZ0` and
// `nRecvZ0` are the first planes of the s planes sent and received. Pairwise:
// a receive and a send for each field in turn; otherwise all receives first.
int PostExchange(CCalc3D& calc, CHalo& halo, const int* pFields, const int* pTags, int nFields, int nSendZ0,
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

// Waits for an exchange posted by PostExchange and stores the received planes.
int FinishExchange(CCalc3D& calc, CHalo& halo, const int* pFields, int nFields, int nRecvZ0) {
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

void FreeHalo(CCalc3D& calc, CHalo& halo) {
  for (int f = 1; f < 10; f++) {
    if (halo.pSend[f])
      calc.FreeCalcPlane(&halo.pSend[f]);
    if (halo.pRecv[f])
      calc.FreeCalcPlane(&halo.pRecv[f]);
  }
}

// A step of one slab of the group. All processes of the group run the same
// steps and exchanges, so that a stop order is looked for only after the
// last step: a process that left mid-shot would leave its neighbours waiting.
class CSlabStep : public CTimeStep {
public:
  explicit CSlabStep(CCalc3D& calc);
  bool InjectsSignal() const override { return !m_Calc.m_vShotPoints.empty(); }
  int Advance(int nY0, int nY1, int nX0, int nX1) override;
  bool StopsBetweenSteps() const override { return false; }
  // Coarser than a lone process's 10 m: the frames of a group's section are
  // sampled every 15 m, so the two agree where their samples meet (every 30 m).
  double SectionStep() const override { return 15.0; }
  void ReportSectionFailure() const override { u_Error("Error! Unable to merge 2D a snapshot.\n"); }
  int Finish(int nResult) override;

private:
  // One half-step: border blocks, the exchange posted, the inner block, the
  // exchange finished. Failures are joined; none ends the step early, so
  // that no request is left open.
  int HalfStep(bool bStress, int nY0, int nY1, int nX0, int nX1);

  CHalo m_Halo[2];
  bool m_bHas[2];   // a neighbour above, below
  int m_nSendZ0[2]; // first plane sent toward each neighbour
  int m_nRecvZ0[2]; // first plane received from each neighbour
  int m_nInnerZ0, m_nInnerZ1;
  int m_nStressFields;
};

CSlabStep::CSlabStep(CCalc3D& calc) : CTimeStep(calc) {
  const int s = calc.m_nStart, Nz = calc.m_nNz;
  const bool bFirst = calc.GetGroupRank() == 0;
  const bool bLast = calc.GetGroupRank() == calc.GetGroupSize() - 1;
  m_Halo[UP].nPeer = calc.m_Set.m_nNode - 1;
  m_Halo[DOWN].nPeer = calc.m_Set.m_nNode + 1;
  m_bHas[UP] = !bFirst;
  m_bHas[DOWN] = !bLast;
  m_nSendZ0[UP] = s;
  m_nSendZ0[DOWN] = Nz - 2 * s;
  m_nRecvZ0[UP] = 0;
  m_nRecvZ0[DOWN] = Nz - s;
  m_nInnerZ0 = bFirst ? s : 2 * s;
  m_nInnerZ1 = bLast ? Nz - s - 1 : Nz - 2 * s - 1;
  m_nStressFields = calc.GetMethod() > METHOD_ACOUSTIC ? 6 : 1;
}

int CSlabStep::HalfStep(bool bStress, int nY0, int nY1, int nX0, int nX1) {
  CCalc3D& c = m_Calc;
  auto block = [&](int z0, int z1) {
    return bStress ? c.PropagateStress(z0, nY0, nX0, z1, nY1, nX1) : c.PropagateVelocity(z0, nY0, nX0, z1, nY1, nX1);
  };
  const int* pFields = bStress ? kStressFields : kVelFields;
  const int* pTags = bStress ? kStressTags : kVelTags;
  const int nFields = bStress ? m_nStressFields : 3;
  const int s = c.m_nStart, Nz = c.m_nNz;
  int nRes = 0;
  if (m_bHas[UP])
    nRes |= block(s, 2 * s - 1);
  if (m_bHas[DOWN])
    nRes |= block(Nz - 2 * s, Nz - s - 1);
  // Velocity planes go out after all receives are posted, stress planes in
  // pairs; received velocity planes are cleared first.
  for (int d = UP; d <= DOWN; d++)
    if (m_bHas[d])
      nRes |= PostExchange(c, m_Halo[d], pFields, pTags, nFields, m_nSendZ0[d], m_nRecvZ0[d], bStress, !bStress);
  nRes |= block(m_nInnerZ0, m_nInnerZ1);
  for (int d = UP; d <= DOWN; d++)
    if (m_bHas[d])
      nRes |= FinishExchange(c, m_Halo[d], pFields, nFields, m_nRecvZ0[d]);
  return nRes;
}

int CSlabStep::Advance(int nY0, int nY1, int nX0, int nX1) {
  int nRes = HalfStep(false, nY0, nY1, nX0, nX1);
  nRes |= HalfStep(true, nY0, nY1, nX0, nX1);
  return nRes;
}

int CSlabStep::Finish(int nResult) {
  FreeHalo(m_Calc, m_Halo[UP]);
  FreeHalo(m_Calc, m_Halo[DOWN]);
  return nResult;
}

} // namespace

int CCalc3D::CalculateDistributed() {
  CSlabStep step(*this);
  return RunTimeLoop(step);
}
