"""What the documents promise of the window."""

import importlib.machinery
import importlib.util
import os
import pathlib
import sys
import tempfile

from support import places
from support.case import WindowTest
from support.waiting import until
from support.window import Role


def the_check():
    """The check of all documents, which runs their examples, as a module."""
    file = str(places.TOP / "Tests/Documents/check-documents")
    loader = importlib.machinery.SourceFileLoader("check_documents", file)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    sys.modules[loader.name] = module
    loader.exec_module(module)
    return module


class OwnProduct(WindowTest):
    """docs/descriptor.md makes a product step by step; its last step is the window."""

    def run_examples(self):
        """Gives the environment in which they end."""
        check = the_check()
        document = check.Document(places.TOP, places.TOP / "docs/descriptor.md")
        scratch = tempfile.TemporaryDirectory(prefix="code-manager-documents-")
        self.addCleanup(scratch.cleanup)
        made = check.Sample(places.TOP, places.BIN, pathlib.Path(scratch.name))
        self.addCleanup(made.remove)
        told = pathlib.Path(scratch.name) / "environment"
        made.run([*filter(check.Check.is_run, document.examples), check.Example(0, f"env -0 >'{told}'")])
        return dict(entry.split("=", 1) for entry in told.read_text().split("\0") if entry)

    def test_its_window(self):
        window = self.open(environment={**os.environ, **self.run_examples()})
        self.assertEqual(window.title, "Acme Manager")
        until(lambda: window.rows().get("Version") == "1.3.0 (5e1f00d2)", lambda: f"it is installed: {window.rows()}")
        self.assertEqual({name: window.rows()[name] for name in ("Status", "Backend", "Provider")},
                         {"Status": "Installed", "Backend": "stopped", "Provider": "mlx"})

        window.open_pane("Crucible")
        served = until(lambda: [site.name for site in window.all(Role.PANEL) if site.name.endswith(", serving")],
                       lambda: f"a copy is served:\n{window.outline()}")
        self.assertEqual(len(served), 1)
        self.assertIn("/spare", served[0])

        window.open_pane("Databases")
        until(lambda: [node for node in window.root.walk() if "Words" in node.name],
              lambda: f"the database is there:\n{window.outline()}")
