from .helpers import run
import os

run()
