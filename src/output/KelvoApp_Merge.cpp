// Merge of per-shot results into one file at the end of a run, or as a task
// of its own.
#include <cstring>

#include "output/GatherMerge.h"
#include "run/KelvoApp.h"
#include "seisfile/SdsPC.h"

int CKelvoApp::MergeResults(const char* result, const char* pattern, int first, int last, bool remove) {
  if (!result || strlen(result) < 5)
    return -10;
  TYPEFILE type;
  if (!CSdsPC::GetTypeFromFileName(result, type))
    return -11;
  if (type == ZPL) {
    // Snapshot sections: the numbered files beside `result` are joined (and
    // always deleted) by the trace-file object itself.
    CSdsPC sds;
    return sds.OnSaveNZpl2ZPL(result, last, 1) ? 0 : 1;
  }
  return CGatherMerge::MergeSgy(result, pattern, first, last, remove);
}
