#include "limes/results/protocol_item.h"

#include "limes/learning/learning_limit_value.h"

namespace limes {

void CProtocolItem::Judge(const CLernenderGrenzwert& grenzwert, float x) {
  value = x;
  limit = grenzwert.Grenzwert();
  average = grenzwert.Mittelwert();
  state = grenzwert.Judge(x).verdict;
}

void CProtocolItem::TakeFrom(const SCurveJudgement& judgement) {
  value = judgement.value;
  limit = judgement.limit;
  average = judgement.mean;
  place = judgement.x;
  from = judgement.x0;
  to = judgement.x1;
  state = judgement.verdict;
}

void CProtocolItem::TakeFrom(const SCurveExcess& region) {
  value = region.value;
  limit = region.limit;
  average = region.mean;
  place = region.x;
  from = region.x0;
  to = region.x1;
  state = Verdict::kFail;
}

CMiniProtocolItem::CMiniProtocolItem(const CProtocolItem& item)
    : code(item.code), value(item.value), limit(item.limit), state(item.state) {}

void CMiniProtocolItem::Into(CProtocolItem& item) const {
  item.code = code;
  item.value = value;
  item.limit = limit;
  item.state = state;
}

}  // namespace limes
