#include "limes/results/protocol_item.h"

#include "limes/learning/learning_limit_value.h"

namespace limes {

void CProtocolItem::Judge(const CLernenderGrenzwert& grenzwert, float x) {
  value = x;
  limit = grenzwert.Grenzwert();
  average = grenzwert.Mittelwert();
  state = grenzwert.Judge(x).verdict;
}

void CProtocolItem::TakeFrom(const SPartJudgement& judgement, const SCurveExcess* region) {
  const auto take = [this](const auto& source) {
    value = static_cast<float>(source.value);
    limit = static_cast<float>(source.limit);
    average = static_cast<float>(source.mean);
    place = static_cast<float>(source.x);
    from = static_cast<float>(source.x0);
    to = static_cast<float>(source.x1);
  };
  region != nullptr ? take(*region) : take(judgement);
  state = judgement.verdict;
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
