#!/usr/bin/env python3
# SPDX-License-Identifier: Zlib
"""Writes manual pages from the comments of the public headers.

    header_manual.py XML-FOLDER README VERSION OUTPUT-FOLDER

XML-FOLDER is what Doxygen makes of the headers. The output is ormsel.3, from the comment at the top of ormsel.h
and with the README's program as its example, and a page for each function.
"""
import os
import pathlib
import re
import sys
import time
import xml.etree.ElementTree as ElementTree

MAIN_HEADER, TARGET_HEADER = "ormsel.h", "ormsel_target.h"
NATIVE_TYPES = re.compile(r"\b(BitMap|RastPort|ORU_\w+)\b")


def escaped(text):
    return text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("^", "\\(ha") \
        .replace("~", "\\(ti").replace("`", "\\(ga")


def prose(text):
    """As escaped(), but hyphens between letters stay hyphens."""
    return re.sub(r"(?<=[A-Za-z0-9])\\-(?=[A-Za-z0-9])", "-", escaped(text))


def inline(node, functions):
    """The text of an element with its emphasis, in one line."""
    parts = [prose(node.text or "")]
    for child in node:
        if child.tag in BLOCKS:
            break
        text = inline(child, functions)
        plain = "".join(child.itertext()).strip()
        if child.tag == "ref" and plain.rstrip("()") in functions:
            text = f"\\fB{prose(plain.rstrip('()'))}\\fP(3)"
        elif child.tag in ("bold", "ref"):
            text = f"\\fB{text}\\fP"
        elif child.tag in ("computeroutput", "emphasis"):
            text = f"\\fI{text}\\fP"
        elif child.tag == "linebreak":
            text = " "
        parts.append(text)
        parts.append(prose(child.tail or ""))
    return re.sub(r"\s+", " ", "".join(parts)).strip(" ") if node.tag == "para" else "".join(parts)


BLOCKS = ("parameterlist", "simplesect", "itemizedlist", "programlisting", "verbatim", "table")


def sentences(text):
    """One sentence a line, as roff wants it; no line may begin like a request."""
    text = re.sub(r"\.\\fP\(3\)", ".", text)
    lines = re.sub(r"(?<=[a-z0-9)P][.:?]) (?=[A-Z\\])", "\n", text.strip()).split("\n")
    return [line if not line.startswith((".", "\\(aq")) else "\\&" + line for line in lines if line.strip()]


def split(para):
    """A paragraph as several, in which each list or listing stands alone."""
    parts = [ElementTree.Element("para")]
    parts[0].text = para.text
    for child in para:
        if child.tag in BLOCKS:
            parts += [ElementTree.Element("para"), ElementTree.Element("para")]
            parts[-2].append(child)
            parts[-1].text = child.tail
        else:
            parts[-1].append(child)
    return parts


def paragraphs(node, functions, first=".PP"):
    """A description's paragraphs, lists and listings; parameters and results stand elsewhere."""
    lines = []
    for para in (part for whole in node.findall("para") for part in split(whole)):
        text = inline(para, functions)
        if text:
            lines += [first] * bool(first) + sentences(text)
            first = ".PP"
        for child in para:
            if child.tag == "itemizedlist":
                for item in child.findall("listitem"):
                    lines += [".IP \\(bu 2"] + sentences(inline(item.find("para"), functions))
            elif child.tag in ("programlisting", "verbatim"):
                lines += [".PP", ".EX"] + escaped("".join(child.itertext())).rstrip("\n").split("\n") + [".EE"]
    return lines


def header(name, version):
    date = time.strftime("%Y-%m-%d", time.gmtime(int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))))
    return ['.\\" SPDX-License-' 'Identifier: Zlib', '.\\" Made from the comments of the headers; edit those.',
            f'.TH {name} 3 {date} "Ormsel {version}" "Library Functions"', ".nh"]


def joined(start, parts, end):
    """`start` and the parts behind it, in lines of a terminal's width that continue indented."""
    lines = [start]
    for number, part in enumerate(parts):
        part += end if number + 1 == len(parts) else ","
        if len(lines[-1]) + len(part) > 76:
            lines.append("    " + part)
        else:
            lines[-1] += part if lines[-1].endswith("(") else " " + part
    return lines


class Function:
    def __init__(self, member, file):
        self.name = member.findtext("name")
        self.file = file
        self.type = "".join(member.find("type").itertext())
        self.params = []
        for param in member.findall("param"):
            kind = "".join(param.find("type").itertext())
            self.params.append(f"{kind} {param.findtext('declname') or ''}".strip())
        self.params = [param for param in self.params if param != "void"]
        self.brief = member.find("briefdescription")
        self.details = member.find("detaileddescription")
        self.native = bool(NATIVE_TYPES.search(self.prototype())) or self.name == "p96Fmt2Str"

    def prototype(self):
        return f"{self.type} {self.name}({', '.join(self.params) or 'void'});".replace("* ", "*").replace("*", " *") \
            .replace("  ", " ")

    def summary(self, functions):
        """The first sentence, as the NAME section wants it."""
        result = self.details.find(".//simplesect[@kind='return']/para")
        source = self.brief.find("para")
        if source is None:
            source = self.details.find("para")
        text = inline(source, functions) if source is not None else ""
        if not text and result is not None:
            text = "gives " + inline(result, functions)
        text = re.split(r"[.;:](\s|$)", text)[0]
        text = re.sub(r"\\f[BIP]", "", text)
        return text[:1].lower() + text[1:]

    def page(self, version, functions, common):
        library = "ormsel-native" if self.native else "ormsel"
        lines = header(self.name, version)
        lines += [".SH NAME", f"{self.name} \\- {self.summary(functions)}"]
        lines += [".SH SYNOPSIS", ".nf", f".B #include <{self.file}>", ".PP"]
        start = f"{self.type} {self.name}(".replace("* ", "*").replace(" *", "*").replace("*", " *")
        lines += [f".B \"{line}\"" for line in joined(start, [p.replace("* ", "*") for p in self.params] or ["void"], ");")]
        lines += [".fi", ".PP", "Link with", f".IR \"$(pkg\\-config \\-\\-cflags \\-\\-libs {escaped(library)})\" ."]
        lines += [".SH DESCRIPTION"]
        text = paragraphs(self.brief, functions, None)
        text += paragraphs(self.details, functions, ".PP" if text else None)
        lines += text or ["This function"] + [self.summary(functions) + "."]
        items = self.details.findall(".//parameteritem")
        if items:
            lines.append(".SH PARAMETERS")
        for item in items:
            names = ", ".join(name.text for name in item.findall(".//parametername"))
            lines += [".TP", f".I {names}"] + sentences(inline(item.find("parameterdescription/para"), functions))
        result = self.details.find(".//simplesect[@kind='return']/para")
        if result is not None:
            text = inline(result, functions)
            lines += [".SH RETURN VALUE"] + sentences(text[:1].upper() + text[1:].rstrip(".") + ".")
        title = "COMMON TO ALL BLITS" if self.file.endswith("/" + MAIN_HEADER) else "NOTES"
        if self.params and common:
            lines += [f".SH {title}"] + common
        return lines + [".SH SEE ALSO", ".BR ormsel (3)"]


def main_page(files, functions, readme, version):
    file = files[MAIN_HEADER]
    lines = header("ormsel", version)
    brief = inline(file.find("briefdescription/para"), functions).rstrip(".")
    lines += [".SH NAME", f"ormsel \\- {brief[:1].lower() + brief[1:]}"]
    lines += [".SH SYNOPSIS", ".nf", f".B #include <ormsel/{MAIN_HEADER}>", ".fi", ".PP", "Link with",
              ".IR \"$(pkg\\-config \\-\\-cflags \\-\\-libs ormsel)\" ;",
              "calls with a bitmap or a rastport need", ".I ormsel\\-native", "in place of", ".IR ormsel ."]
    lines += [".SH DESCRIPTION"] + paragraphs(file.find("detaileddescription"), functions, None)
    lines += [".SH FUNCTIONS"]
    for name in sorted(functions, key=str.lower):
        lines += [".TP", f".BR {name} (3)"] + sentences(functions[name].summary(functions))
    lines += [".SH PROCESSOR TARGETS"] + paragraphs(files[TARGET_HEADER].find("detaileddescription"), functions, None)
    program = re.search(r"^```c\n(.*?)^```$", readme, re.S | re.M).group(1)
    lines += [".SH EXAMPLES", ".EX"] + escaped(program).rstrip("\n").split("\n") + [".EE"]
    return lines


def main():
    xml, readme, version, output = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3], pathlib.Path(sys.argv[4])
    functions, files = {}, {}
    for path in sorted(xml.glob("*_8h.xml")):
        file = ElementTree.parse(path).getroot().find("compounddef")
        files[file.findtext("compoundname")] = file
        for member in file.iter("memberdef"):
            if member.get("kind") == "function":
                functions[member.findtext("name")] = Function(member, file.find("location").get("file"))
    output.mkdir(parents=True, exist_ok=True)
    common = {file.find("location").get("file"): paragraphs(file.find("detaileddescription"), functions, None)
              for name, file in files.items() if name != TARGET_HEADER}  # that one's stands in ormsel.3
    pages = {name: function.page(version, functions, common.get(function.file))
             for name, function in functions.items()}
    pages["ormsel"] = main_page(files, functions, pathlib.Path(readme).read_text(), version)
    for name, lines in pages.items():
        (output / f"{name}.3").write_text("\n".join(lines) + "\n")


main()
