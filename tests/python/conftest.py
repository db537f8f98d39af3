from hypothesis import HealthCheck, settings

# Tests don't depend on time; TOLVANE_EXAMPLES=100000 runs more of each.
import os

settings.register_profile(
    "package",
    deadline=None,
    derandomize=True,
    max_examples=int(os.environ.get("TOLVANE_EXAMPLES", "150")),
    suppress_health_check=list(HealthCheck),
)
settings.load_profile("package")
