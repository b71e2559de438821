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
    Judgement,
    PartStatus,
    Quantity,
    Recording,
    Region,
    SignalHealth,
    SPartJudgement,
    Sureness,
    Verdict,
    __version__,
    fit,
)
from .limits import CurveLimit, TrackLimit, ValueLimit, learn, learn_tracks, learn_values
from .modes import Modes
from .parts import Part, Rule, curve, curves
from .rates import scores
from .recordings import form, quantity, read, read_each, spectrum
from .store import Store

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
    "Judgement",
    "Modes",
    "Part",
    "PartStatus",
    "Quantity",
    "Recording",
    "Region",
    "Rule",
    "SPartJudgement",
    "SignalHealth",
    "Store",
    "Sureness",
    "TrackLimit",
    "ValueLimit",
    "Verdict",
    "__version__",
    "curve",
    "curves",
    "fit",
    "form",
    "learn",
    "learn_tracks",
    "learn_values",
    "quantity",
    "read",
    "read_each",
    "scores",
    "spectrum",
]
