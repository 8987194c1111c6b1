"""The generator on small fixture schemas: what it writes, and what it refuses."""

import os
import shutil
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "codegen"))

import generate  # noqa: E402


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

    def test_header_reads_like_the_schema(self):
        # Each attribute's accessors are a Doxygen group, with the VM that the dictionary gives.
        dictionary = os.path.join(self.root, "dicom.dic")
        with open(dictionary, "w", encoding="utf-8") as stream:
            stream.write("# comment\n(0008,0100)\tSH\tCodeValue\t1\tDICOM\n(6000-60FF,3000)\tox\tOverlayData\t1\tDICOM\n")
        self.assertEqual(self.run_generator("--dictionary", dictionary, self.good()), 0)
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

    def test_source_sequences_calls_in_declaration_order(self):
        self.run_generator(self.good())
        source = self.read("Good.cpp")
        self.assertIn('attribute::readText(data, "ZORVIK0", 0x51, 0x0023, created->itsLabelElement)', source)
        self.assertLess(source.index("0x0008, 0x0100, itsFirstElement"), source.index("0x0008, 0x0102, itsSecondElement"))
        self.assertIn('reportChange("SampleSequenceItem.FramesElement");', source)
        self.assertIn('SequenceItem::sequenceItemUpdated("SampleSequence", nullptr, this, '
                      '"SampleSequenceItem.SampleSequenceElement." + elementPath, images);', source)
        self.assertIn('PSChangeHandler::elementUpdated("SampleEntity.SampleModule", nullptr);', source)
        self.assertIn("itsBitmapElement.values(), itsBitmapElement.byteLength(), VRCode::OW);", source)

    def test_output_is_deterministic_and_rewritten_only_when_it_changes(self):
        path = self.good()
        self.run_generator(path)
        header = os.path.join(self.output, "refcntr", "macros", "Good.h")
        first = self.read("Good.h")
        os.utime(header, (1, 1))
        self.run_generator(path)
        self.assertEqual(os.stat(header).st_mtime, 1)
        self.assertEqual(self.read("Good.h"), first)
        self.assertNotIn(self.root, first)

    def assertRefused(self, text, message):
        path = self.schema(text)
        with _captured() as stderr:
            self.assertEqual(self.run_generator(path), 1)
        self.assertIn("macros/Fixture.schema:", stderr.getvalue())
        self.assertIn(message, stderr.getvalue())
        self.assertFalse(os.path.exists(self.output), "nothing is written when a schema is refused")

    def test_refuses_bad_tables_naming_file_and_line(self):
        self.assertRefused("item A  sequence AS\n  X 0008,0100 SH text\n  Y 0008,0100 SH text\nend\n", "appears twice")
        self.assertRefused("item A  sequence AS\n  X 0008,0100 SH texty\nend\n", "unknown kind 'texty'")
        self.assertRefused("item A  sequence AS\n  X 0008,0100 SH text\n", "has no 'end'")
        self.assertRefused("item A  sequence AS\n  use Missing\nend\n", "unknown family 'Missing'")
        self.assertRefused("item A  sequence AS\n  S 0040,0440 SQ sequence NoSuchSequence\nend\n", "unknown sequence class")
        self.assertRefused("item A\nend\n", "names its sequence")
        self.assertRefused("module M\n  X 0023,xx51 LT text\nend\n", "names no private-creator")
        self.assertRefused("item A  sequence AS\n  X 0008,01000 SH text\nend\n", "is not a tag")
        self.assertRefused("item A  sequence AS\nend\nitem A  sequence BS\nend\n", "declared twice")
        self.assertRefused("item A  sequence AS\n  X 6000,3000 OB|OW array uint16 write-as\nend\n", "needs a value")
        self.assertRefused("item A  sequence AS\n  X 0008,0100 SH text write-as=OW\nend\n", "does not apply")


class _captured:
    def __enter__(self):
        import io
        self.saved, sys.stderr = sys.stderr, io.StringIO()
        return sys.stderr

    def __exit__(self, *exception):
        sys.stderr = self.saved
        return False


if __name__ == "__main__":
    unittest.main()
