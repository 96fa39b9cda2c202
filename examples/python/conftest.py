# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
pytest_plugins = ["bivista.pytest_plugin"]
