"""Makes one source file of the C++ examples in a guide: snippets.py <guide.md> <file.cpp>

The includes go to the top, and each example into a namespace of its own.
"""
import re
import sys

guide, output = sys.argv[1:]
with open(guide, encoding="utf-8") as file:
    blocks = re.findall(r"^```cpp\n(.*?)^```", file.read(), re.DOTALL | re.MULTILINE)
if not blocks:
    sys.exit(f"{guide}: no examples")

includes, bodies = [], []
for number, block in enumerate(blocks):
    lines = block.splitlines()
    includes += [line for line in lines if line.startswith("#include")]
    body = [line for line in lines if not line.startswith("#include")]
    bodies += [f"namespace example{number} {{", *body, "}"]

with open(output, "w", encoding="utf-8") as file:
    file.write("\n".join(includes + bodies) + "\n")
