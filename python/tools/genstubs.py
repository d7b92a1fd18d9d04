import sys
import lumox
open(sys.argv[1], "w").write("from typing import Any\n")
