import com.zelvox.qorbetta.DefaultExperiment;
import com.zelvox.qorbetta.FieldModel;
import com.zelvox.qorbetta.Output;
import com.zelvox.qorbetta.Parameter;

/** Computes as much as it is told to, so that a run takes as long as one likes. */
@DefaultExperiment(stopTime = 1, stepSize = 0.1)
public class Busy extends FieldModel {
    @Output(description = "depends on all that was computed") double result;
    @Output(description = "time that the steps took so far, in seconds") double seconds;
    @Parameter(description = "rounds of a loop in each step") double rounds = 1000;
    @Parameter(description = "only makes the runs differ") double which;

    @Override
    protected void initialize() {
        result = which;
        seconds = 0;
    }

    @Override
    protected void step(double time, double stepSize) {
        long began = System.nanoTime();
        for (long round = (long) rounds; round > 0; round--) {
            result = Math.sin(result + stepSize);
        }
        seconds += (System.nanoTime() - began) * 1e-9;
    }
}
