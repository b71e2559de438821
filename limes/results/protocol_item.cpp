#include "limes/results/protocol_item.h"

#include "limes/learning/learning_limit_value.h"

namespace limes {

void CProtocolItem::Beurteilen(const CLernenderGrenzwert& grenzwert, float x) {
  value = x;
  limit = grenzwert.Grenzwert();
  average = grenzwert.Mittelwert();
  state = grenzwert.Beurteilen(x).verdict;
}

void CProtocolItem::Uebernehmen(const SCurveJudgement& judgement) {
  value = judgement.value;
  limit = judgement.limit;
  average = judgement.mean;
  place = judgement.x;
  state = judgement.verdict;
}

}  // namespace limes
