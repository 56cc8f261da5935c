"""Remote control of the NVX400 vector network analyser application."""

from .instrument import NVX400, NVX400Error, parse_block

__all__ = ["NVX400", "NVX400Error", "parse_block"]
__version__ = "0.1.0"
