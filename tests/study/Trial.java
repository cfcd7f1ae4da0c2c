import com.zelvox.qorbetta.DefaultExperiment;
import com.zelvox.qorbetta.DisplayUnit;
import com.zelvox.qorbetta.FieldModel;
import com.zelvox.qorbetta.Output;
import com.zelvox.qorbetta.Parameter;
import com.zelvox.qorbetta.UnitDefinition;
import java.io.File;

/** Decays by its rate. At certain rates it fails in one of the ways that a model can. */
@UnitDefinition(name = "m", m = 1, displayUnits = @DisplayUnit(name = "cm", factor = 0.01, offset = 1))
@DefaultExperiment(stopTime = 1, stepSize = 0.1)
public class Trial extends FieldModel {
    @Output(unit = "m", displayUnit = "cm") double level;
    @Parameter double start = 1;
    @Parameter double rate = 0.5;
    @Parameter double pause; // at each step, in seconds

    @Override
    protected void initialize() {
        level = start;
    }

    @Override
    protected void step(double time, double stepSize) throws Exception {
        Thread.sleep((long) (1000 * pause));
        level *= Math.exp(-rate * stepSize);
        if (rate == -1) {
            throw new IllegalStateException("rate -1, \"quoted\"\nand more");
        } else if (rate == -2) {
            System.exit(3);
        } else if (rate == -3) {
            String process = new File("/proc/self").getCanonicalFile().getName();
            Runtime.getRuntime().exec("kill -KILL " + process).waitFor();
        }
    }
}
