import os
import pathlib
import resource
import signal
import stat
import tempfile
import unittest

import files


class WriteTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.path = self.folder / "file"

    def names(self):
        return sorted(os.listdir(self.folder))

    def test_makes_a_file(self):
        files.write(self.path, b"new")
        self.assertEqual(self.path.read_bytes(), b"new")

    def test_replaces_it_and_keeps_its_mode(self):
        self.path.write_bytes(b"a longer content")
        self.path.chmod(0o605)
        files.write(self.path, b"new")
        self.assertEqual(self.path.read_bytes(), b"new")
        self.assertEqual(stat.S_IMODE(self.path.stat().st_mode), 0o605)
        self.assertEqual(self.names(), ["file"])

    def test_keeps_links(self):
        self.path.write_bytes(b"before")
        link = self.folder / "link"
        link.symlink_to("file")
        files.write(link, b"new")
        self.assertTrue(link.is_symlink())
        self.assertEqual(self.path.read_bytes(), b"new")

    def test_leaves_the_old_content_where_the_new_one_finds_no_room(self):
        self.path.write_bytes(b"before")
        handler = signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        self.addCleanup(signal.signal, signal.SIGXFSZ, handler)
        before = resource.getrlimit(resource.RLIMIT_FSIZE)
        self.addCleanup(resource.setrlimit, resource.RLIMIT_FSIZE, before)
        resource.setrlimit(resource.RLIMIT_FSIZE, (2, before[1]))
        with self.assertRaises(OSError):
            files.write(self.path, b"new content")
        self.assertEqual(self.path.read_bytes(), b"before")
        self.assertEqual(self.names(), ["file"])

    def test_writes_into_a_device_and_leaves_it(self):
        device = self.folder / "device"
        device.symlink_to("/dev/full")
        with self.assertRaises(OSError):
            files.write(device, b"new")
        self.assertTrue(device.is_symlink())
        self.assertTrue(device.is_char_device())

    def test_writes_into_a_fifo_and_leaves_it(self):
        os.mkfifo(self.path)
        reader = os.open(self.path, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        files.write(self.path, b"new")
        self.assertEqual(os.read(reader, 10), b"new")
        self.assertTrue(self.path.is_fifo())


if __name__ == "__main__":
    unittest.main()
