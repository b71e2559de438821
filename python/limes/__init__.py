"""Measurement signals, learnt acceptance limits and verdicts for production test benches.

The C++ classes keep their names (CSigCurveExt, CKurvenLernWerkzeug, ...); curve, learn, learn_values
and learn_tracks are a small layer over them:

>>> import limes, numpy as np
>>> parts = [limes.curve(60 + np.random.rand(100), 0, 1000, y_unit="dB(Pa)") for _ in range(30)]
>>> limit = limes.learn(parts, limes.Rule(base=3, factor=3))
>>> limit.judge(parts[0]).verdict
Verdict.PASS
"""

import os
from typing import TYPE_CHECKING

from ._limes import (
    DVL,
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
    CalibratedLimit,
    Calibration,
    CalibrationBasis,
    Curve,
    CurveArray,
    CurveLearner,
    DefectFolder,
    DefectReport,
    Judgement,
    Pairs,
    PartStatus,
    Quantity,
    Recording,
    Region,
    RunPairs,
    SPartJudgement,
    SignalHealth,
    Sureness,
    TimePairs,
    TrackLearner,
    Unit,
    ValueLearner,
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

if TYPE_CHECKING:
    from .estimator import LimitEstimator as LimitEstimator


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
    "Curve",
    "CurveArray",
    "CurveLearner",
    "CurveLimit",
    "DVL",
    "DefectFolder",
    "DefectReport",
    "Judgement",
    "Modes",
    "Pairs",
    "Part",
    "PartStatus",
    "Quantity",
    "Recording",
    "Region",
    "Rule",
    "RunPairs",
    "SPartJudgement",
    "SignalHealth",
    "Store",
    "Sureness",
    "TimePairs",
    "TrackLearner",
    "TrackLimit",
    "Unit",
    "ValueLearner",
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

_arrays = os.path.join(os.path.dirname(__file__), "limes-arrays")  # reads MAT and HDF5 files
if os.access(_arrays, os.X_OK):
    os.environ.setdefault("LIMES_ARRAYS", _arrays)


def __getattr__(name: str) -> object:
    if name == "LimitEstimator":  # its package takes a second to load
        from . import estimator

        return estimator.LimitEstimator
    raise AttributeError(f"module 'limes' has no attribute {name!r}")
