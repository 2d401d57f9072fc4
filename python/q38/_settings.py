"""The engine's parameters under the q38 program's option words in snake case.

Everything here comes from the engine through the program's parameter table:
names, units, ranges, value texts, defaults and the parsing of values. A
setting is a physical value (a number, or a text with its unit such as
"40 dB") for a continuous parameter, and a value text or its index for the
others. Values live as the engine's normalized floats, a list indexed by id.
"""

from __future__ import annotations

import numbers
import os
from dataclasses import dataclass

import numpy as np

from . import _q38

_INFO = _q38.parameters()


def _snake(word: str) -> str:
    return word.replace("-", "_")


# Every option word and the ids it sets; the shortest word of each group in
# the program's order; one name per parameter for settings.
WORDS: dict[str, tuple[int, ...]] = {}
SHORTEST: list[str] = []
NAMES: list[str] = [""] * _q38.NUM_PARAMETERS
for _words, _ids in _q38.option_words():
    for _word in _words:
        WORDS[_snake(_word)] = tuple(_ids)
    SHORTEST.append(_snake(min(_words, key=len)))
    if len(_ids) == 1:
        NAMES[_ids[0]] = SHORTEST[-1]
for _info in _INFO:
    if not NAMES[_info["id"]]:  # a parameter without an option word goes by its id
        NAMES[_info["id"]] = f"parameter{_info['id']}"
        WORDS[NAMES[_info["id"]]] = (_info["id"],)
        SHORTEST.append(NAMES[_info["id"]])


@dataclass(frozen=True)
class Parameter:
    """One of the engine's parameters."""

    id: int
    name: str  # the engine's name, e.g. "Ch.1: Input Gain"
    option: str  # its keyword, e.g. "input_gain1"
    unit: str  # e.g. "dB"; empty for switches and choices
    range: tuple[float, float] | None  # physical range of a continuous parameter
    default: float | str  # as a setting: physical value or value text
    texts: tuple[str, ...]  # value texts in index order


def parameters() -> list[Parameter]:
    """The engine's parameters in id order, with their keywords, units, ranges, defaults and texts."""
    return [
        Parameter(
            id=info["id"],
            name=info["name"],
            option=NAMES[info["id"]],
            unit=info["unit"],
            range=(info["lowest"], info["highest"]) if info["kind"] == "continuous" else None,
            default=_q38.setting_value(info["id"], info["default"]),
            texts=tuple(info["texts"]),
        )
        for info in _INFO
    ]


def defaults() -> list[float]:
    return list(_q38.defaults())


def range_text(parameter_id: int) -> str:
    """"3 to 76 dB" or "Bypassed | 80 Hz | 300 Hz | 80 + 300 Hz"."""
    return _INFO[parameter_id]["range_text"]


def switched_on(parameter_id: int) -> str | None:
    """The value text a switch takes when its option word stands alone; None for other kinds."""
    info = _INFO[parameter_id]
    return info["texts"][1] if info["kind"] == "switch" else None


def _expects(info: dict) -> str:
    if info["texts"]:
        texts = ", ".join(repr(text) for text in info["texts"])
        return f"one of {texts} or its index 0 to {len(info['texts']) - 1}"
    if info["kind"] == "continuous":
        return f"a number in {info['unit']} ({info['range_text']})"
    return "a normalized number (0 to 1)"


def _normalized(keyword: str, parameter_id: int, value) -> float:
    info = _INFO[parameter_id]
    if info["texts"] and isinstance(value, (numbers.Integral, np.bool_)):
        index = int(value)
        if not 0 <= index < len(info["texts"]):
            raise ValueError(f"{keyword}={value!r}: no such index; {keyword} takes {_expects(info)}")
        text = info["texts"][index]
    elif isinstance(value, str):
        text = value
    elif not info["texts"] and isinstance(value, numbers.Real) and not isinstance(value, (bool, np.bool_)):
        text = repr(float(value))
    else:
        raise TypeError(f"{keyword} takes {_expects(info)}, not {type(value).__name__} {value!r}")
    try:
        return _q38.parse_value(parameter_id, text, info["kind"] == "plain")
    except ValueError as error:
        raise ValueError(f"{keyword}={value!r}: {error}") from None


def apply(values: list[float], settings: dict) -> list[float]:
    """A copy of values with the settings applied in order; raises without changing anything.

    A keyword for both channels takes one value for both or a pair, one per channel.
    """
    result = list(values)
    for keyword, value in settings.items():
        ids = WORDS.get(keyword)
        if ids is None:
            raise TypeError(f"unknown setting {keyword!r}; the settings are {', '.join(SHORTEST)}")
        per_channel = [value] * len(ids)
        if len(ids) > 1 and isinstance(value, (tuple, list)):
            if len(value) != len(ids):
                raise ValueError(f"{keyword} takes one value or {len(ids)}, one per channel; got {len(value)}")
            per_channel = list(value)
        for parameter_id, channel_value in zip(ids, per_channel):
            result[parameter_id] = _normalized(keyword, parameter_id, channel_value)
    return result


def value_of(values: list[float], keyword: str):
    """A setting as it stands: one value, or a pair when the channels of a both-channel keyword differ."""
    shown = tuple(_q38.setting_value(parameter_id, values[parameter_id]) for parameter_id in WORDS[keyword])
    return shown[0] if len(set(shown)) == 1 else shown


def settings_of(values: list[float]) -> dict:
    """Every parameter's setting under its keyword, in id order."""
    return {NAMES[parameter_id]: _q38.setting_value(parameter_id, value) for parameter_id, value in enumerate(values)}


@dataclass(frozen=True)
class Preset:
    """A factory preset: named settings for an everyday job."""

    word: str  # as preset= and --preset take it, e.g. "clean-vocal"
    name: str  # as LV2 hosts' preset menus show it, e.g. "Clean Vocal"
    purpose: str  # what it is for, in one line
    stereo_only: bool  # made for two channels (M/S)


def presets() -> list[Preset]:
    """The factory presets of the q38 program and the LV2 plugin, in their order."""
    return [Preset(**preset) for preset in _q38.factory_presets()]


def preset_values(preset) -> list[float]:
    """The defaults with a preset applied, as q38 --preset takes it: a factory preset's
    word or name, else a preset file (NAME = VALUE a line)."""
    try:
        text = os.fsdecode(preset)
    except TypeError:
        raise TypeError(f"preset takes a factory preset's word or name or a file, "
                        f"not {type(preset).__name__}") from None
    values = defaults()
    for parameter_id, value in _q38.load_preset(text):
        values[parameter_id] = value
    return values


def values_of(settings: dict, preset=None) -> list[float]:
    """The values of the settings applied over a preset, or over the defaults."""
    return apply(defaults() if preset is None else preset_values(preset), settings)


def load_preset(preset) -> dict:
    """Every setting of a factory preset (by word or name) or a preset file; what it leaves out at the default."""
    return settings_of(preset_values(preset))
