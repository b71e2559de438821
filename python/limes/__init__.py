"""Measurement signals, learnt acceptance limits and verdicts for production test benches.

The C++ classes keep their names (CSigCurveExt, CKurvenLernWerkzeug, ...); curve, learn, learn_values
and learn_tracks are a small layer over them:

>>> import limes, numpy as np
>>> parts = [limes.curve(60 + np.random.rand(100), 0, 1000, y_unit="dB(Pa)") for _ in range(30)]
>>> limit = limes.learn(parts, limes.Rule(base=3, factor=3))
>>> limit.judge(parts[0]).verdict
Verdict.PASS
"""

from ._limes import (
    DVL,
    CalibratedLimit,
    Calibration,
    CalibrationBasis,
    CDefectReport,
    CDefectReportOrdner,
    CKurvenLernWerkzeug,
    CLernenderGrenzwert,
    CMeasuringUnit,
    CSigCurveArray,
    CSigCurveExt,
    CSigPairs,
    CSigPairsTm,
    CSigPairsVM,
    CTrackLernWerkzeug,
    PartStatus,
    SignalHealth,
    SPartJudgement,
    Verdict,
    __version__,
    fit,
)
from .limits import (
    CurveLimit,
    Part,
    Rule,
    TrackLimit,
    ValueLimit,
    curve,
    learn,
    learn_tracks,
    learn_values,
)
from .rates import scores

__all__ = [
    "CDefectReport",
    "CDefectReportOrdner",
    "CKurvenLernWerkzeug",
    "CLernenderGrenzwert",
    "CMeasuringUnit",
    "CSigCurveArray",
    "CSigCurveExt",
    "CSigPairs",
    "CSigPairsTm",
    "CSigPairsVM",
    "CTrackLernWerkzeug",
    "CalibratedLimit",
    "Calibration",
    "CalibrationBasis",
    "CurveLimit",
    "DVL",
    "Part",
    "PartStatus",
    "Rule",
    "SPartJudgement",
    "SignalHealth",
    "TrackLimit",
    "ValueLimit",
    "Verdict",
    "__version__",
    "curve",
    "fit",
    "learn",
    "learn_tracks",
    "learn_values",
    "scores",
]
