"""The generator on small fixture schemas: what it writes, and what it refuses."""

import contextlib
import io
import os
import pathlib
import shutil
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "codegen"))

import generate  # noqa: E402
import schema  # noqa: E402


class GeneratorTest(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp()
        self.source = os.path.join(self.root, "source")
        self.output = os.path.join(self.root, "output")
        os.makedirs(os.path.join(self.source, "macros"))

    def tearDown(self):
        shutil.rmtree(self.root)

    def schema(self, text, name="Fixture.schema"):
        path = os.path.join(self.source, "macros", name)
        with open(path, "w", encoding="utf-8") as stream:
            stream.write(text)
        return path

    def run_generator(self, *paths):
        return generate.main(["--source-root", self.source, "--output-root", self.output, *paths])

    def read(self, name):
        with open(os.path.join(self.output, "refcntr", "macros", name), encoding="utf-8") as stream:
            return stream.read()

    def good(self):
        with open(os.path.join(HERE, "fixtures", "Good.schema"), encoding="utf-8") as stream:
            return self.schema(stream.read(), "Good.schema")

    def test_output_reads_like_the_schema_and_is_rewritten_only_when_it_changes(self):
        # Each attribute's accessors are a Doxygen group, with the VM that the dictionary gives.
        dictionary = os.path.join(self.root, "dicom.dic")
        with open(dictionary, "w", encoding="utf-8") as stream:
            stream.write("# comment\n(0008,0100)\tSH\tCodeValue\t1\tDICOM\n(6000-60FF,3000)\tox\tOverlayData\t1\tDICOM\n")
        arguments = ["--dictionary", dictionary, self.good()]
        self.assertEqual(self.run_generator(*arguments), 0)
        header = self.read("Good.h")
        self.assertIn("Do not edit", header)
        self.assertIn("    /// @name First (0008,0100) SH, VM 1: The first value\n    ///@{\n", header)
        self.assertIn("    /// @name Bitmap (6000,3000) OB|OW, VM 1: Written as OW\n", header)
        self.assertIn("    /// @name Second (0008,0102) SH: The second value\n", header)
        self.assertIn("void setFramesElement(int* values, unsigned count);  // takes ownership (new[])", header)
        self.assertIn("/// @name Label (0023,xx51) LT: A private text", header)
        self.assertIn("class SampleSequence : public Sequence<SampleSequenceItem>", header)
        # A class held by value comes before its holder.
        self.assertLess(header.index("class OtherSequence "), header.index("class SampleSequenceItem "))

        source = self.read("Good.cpp")
        self.assertIn('attribute::readText(data, "ZORVIK0", 0x51, 0x0023, created->itsLabelElement)', source)
        self.assertLess(source.index("0x0008, 0x0100, itsFirstElement"), source.index("0x0008, 0x0102, itsSecondElement"))
        self.assertIn('reportChange("SampleSequenceItem.FramesElement");', source)
        self.assertIn('SequenceItem::sequenceItemUpdated("SampleSequence", nullptr, this, '
                      '"SampleSequenceItem.SampleSequenceElement." + elementPath, images);', source)
        self.assertIn('PSChangeHandler::elementUpdated("SampleEntity.SampleModule", nullptr);', source)
        self.assertIn("itsBitmapElement.values(), itsBitmapElement.byteLength(), VRCode::OW);", source)
        # A second run gives the same output and leaves the unchanged file alone.
        path = os.path.join(self.output, "refcntr", "macros", "Good.h")
        os.utime(path, (1, 1))
        self.run_generator(*arguments)
        self.assertEqual(os.stat(path).st_mtime, 1)
        self.assertEqual(self.read("Good.h"), header)
        self.assertNotIn(self.root, header)

    def assertRefused(self, text, message, family=None):
        shutil.rmtree(self.output, ignore_errors=True)
        paths = [self.schema(family, "Family.schema")] if family else []
        with contextlib.redirect_stderr(io.StringIO()) as stderr:
            self.assertEqual(self.run_generator(*paths, self.schema(text)), 1)
        self.assertIn(message, stderr.getvalue())
        self.assertFalse(os.path.exists(self.output), "nothing is written when a schema is refused")

    def test_refuses_bad_tables_naming_file_and_line(self):
        item = "item A  sequence AS\n{}end\n"
        for rows, message in [
            ("  X 0008,0100 SH text\n  Y 0008,0100 SH text\n", "Fixture.schema:3: tag (0008,0100) appears twice in A, "
                                                               "first at macros/Fixture.schema:2"),
            ("  X 0008,0100 SH texty\n", "Fixture.schema:2: unknown kind 'texty'"),
            ("  use Missing\n", "Fixture.schema:2: unknown family 'Missing'"),
            ("  S 0040,0440 SQ sequence NoSuchSequence\n", "Fixture.schema:2: unknown sequence class"),
            ("  X 0008,01000 SH text\n", "Fixture.schema:2: '0008,01000' is not a tag"),
            ("  X 6000,3000 OB|OW array uint16 write-as\n", "Fixture.schema:2: flag 'write-as' needs a value"),
            ("  X 0008,0100 SH text write-as=OW\n", "Fixture.schema:2: flag 'write-as' does not apply"),
            ("  X 0008,0100 SH text \"desc\" empty-when-absent  # a comment\n", "Fixture.schema:2: unknown flag 'desc'"),
            # Each kind holds only the VRs its member and calls can hold.
            ("  X 0028,0010 US text\n", "Fixture.schema:2: kind 'text' cannot hold VR US (it holds: AE, AS,"),
            ("  X 0008,0100 SH text\n  Y 0018,1030 LT texts\n", "Fixture.schema:3: kind 'texts' cannot hold VR LT"),
            ("  X 0028,3002 US|SS us\n", "Fixture.schema:2: kind 'us' cannot hold VR US|SS (it holds: US)"),
            ("  X 0070,0022 FL array uint16\n", "Fixture.schema:2: kind 'array uint16' cannot hold VR FL"),
            ("  X 0028,3002 US|SS ambiguous float US_OR_SS\n",
             "Fixture.schema:2: kind 'ambiguous float' cannot hold VR US|SS (it holds: none)"),
            ("  S 0040,0440 LO sequence AS\n", "Fixture.schema:2: kind 'sequence' cannot hold VR LO (it holds: SQ)"),
        ]:
            with self.subTest(rows=rows):
                self.assertRefused(item.format(rows), message)
        for text, message in [
            ("item A  sequence AS\n  X 0008,0100 SH text\n", "Fixture.schema:2: the last block has no 'end'"),
            ("item A\nend\n", "Fixture.schema:1: an item names its sequence"),
            ("module M\n  X 0023,xx51 LT text\nend\n", "Fixture.schema:2: private attribute in M, which names no"),
            ("item A  sequence AS\nend\nitem A  sequence BS\nend\n", "Fixture.schema:3: class 'A' is declared twice"),
        ]:
            with self.subTest(text=text):
                self.assertRefused(text, message)

    def test_refuses_family_rows_at_the_family_row(self):
        # Family.schema declares family Pair; its rows are at lines 2 and 3.
        family = "family Pair\n  First 0008,0100 SH text\n  Second 0008,0102 SH text\nend\n"
        used = " (through 'use Pair' at macros/Fixture.schema:{})"
        for text, family_text, message in [
            ("item A  sequence AS\n  Code 0008,0102 SH text\n  use Pair\nend\n", family,
             "Family.schema:3: tag (0008,0102) appears twice in A" + used.format(3) + ", first at macros/Fixture.schema:2"),
            ("item A  sequence AS\n  use Pair\n  use Pair\nend\n", family,
             "Family.schema:2: attribute 'First' appears twice in A" + used.format(3) + ", first at macros/Family.schema:2"),
            ("item A  sequence AS\n  use Pair\n  First 0008,0104 SH text\nend\n", family,
             "Fixture.schema:3: attribute 'First' appears twice in A, first at macros/Family.schema:2"),
            ("module M\n  use Pair\nend\n", family.replace("0008,0100", "0023,xx51"),
             "Family.schema:2: private attribute in M" + used.format(2)),
            ("module M\n  use Pair\nend\n", family.replace("SH text", "SQ sequence Nope", 1),
             "Family.schema:2: unknown sequence class 'Nope'"),
        ]:
            with self.subTest(text=text, family=family_text):
                self.assertRefused(text, message, family_text)

    def test_comments_and_descriptions(self):
        # A comment, quotes and all, is neither the description nor takes a word with it.
        row = "X 0008,0100 SH text empty-when-absent"
        words = row.split()
        for text, expected_words, description in [
            (row + '  # the "old" name', words, ""),
            (row + '  "The name"  # the "old" name', words, "The name"),
            (row + '  "The code\'s \\"name\\" # kept"  # it\'s old', words, 'The code\'s "name" # kept'),
            (row + "#no blank before the comment", words, ""),
        ]:
            with self.subTest(text=text):
                self.assertEqual(schema.split_row(None, 1, text), (expected_words, description))

    def test_class_list_does_not_depend_on_the_order_of_schema_files(self):
        other = self.schema("item ZetaItem  sequence ZetaSequence\n  Value 0040,A160 UT text\nend\n"
                            "module AlphaModule\n  Count 0028,0010 US us\nend\n", "Other.schema")
        outputs = []
        for paths in ([self.good(), other], [other, self.good()]):
            shutil.rmtree(self.output, ignore_errors=True)
            self.assertEqual(self.run_generator(*paths), 0)
            outputs.append({str(path.relative_to(self.output)): path.read_text(encoding="utf-8")
                            for path in pathlib.Path(self.output).rglob("*") if path.is_file()})
        self.assertEqual(outputs[0], outputs[1])
        class_list = outputs[0][os.path.join("refcntr", "codegen", "GeneratedClassList.h")]
        self.assertLess(class_list.index("Setters<AlphaModule>"), class_list.index("Setters<SampleModule>"))


if __name__ == "__main__":
    unittest.main()
